#include "platform/wide_text.h"

#include <algorithm>
#include <cstddef>

namespace platform {

std::u16string FormatDecimal(std::int64_t number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

std::u16string ReadBuffer(std::span<const char16_t> buffer) {
    return {buffer.begin(), std::find(buffer.begin(), buffer.end(), u'\0')};
}

std::u16string_view GetFileName(std::u16string_view path) {
    const std::size_t backslash = path.rfind(u'\\');
    return backslash == std::u16string_view::npos ? path : path.substr(backslash + 1);
}

void AppendToList(std::u16string& list, std::u16string_view item) {
    if (!list.empty())
        list += u';';
    list += item;
}

char16_t ToLowerAscii(char16_t character) {
    const bool isCapital = character >= u'A' && character <= u'Z';
    return isCapital ? static_cast<char16_t>(character + (u'a' - u'A')) : character;
}

bool EqualsIgnoringAsciiCase(std::u16string_view a, std::u16string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char16_t x, char16_t y) { return ToLowerAscii(x) == ToLowerAscii(y); });
}

}  // namespace platform
