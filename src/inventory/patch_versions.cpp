#include "inventory/patch_versions.h"

#include <algorithm>
#include <cstddef>

namespace saltrove {

namespace {

constexpr std::size_t kNumberLength = 10;

bool IsDigit(char16_t character) {
    return character >= u'0' && character <= u'9';
}

std::size_t CountDigits(std::u16string_view text) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsDigit);
    return static_cast<std::size_t>(end - text.begin());
}

/// The length of the dotted version at the start of `text`, if a closing parenthesis follows it at
/// once; 0 otherwise.
std::size_t MeasureVersion(std::u16string_view text) {
    std::size_t length = CountDigits(text);
    std::size_t numbers = length > 0 ? 1 : 0;
    while (numbers > 0 && length < text.size() && text[length] == u'.') {
        const std::size_t digits = CountDigits(text.substr(length + 1));
        if (digits == 0)
            return 0;
        length += 1 + digits;
        ++numbers;
    }
    const bool isClosed = length < text.size() && text[length] == u')';
    return numbers >= 2 && isClosed ? length : 0;
}

int CompareCharacters(std::u16string_view a, std::u16string_view b) {
    const int order = a.compare(b);
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

}  // namespace

std::u16string ExtractVersionFromDisplayName(std::u16string_view displayName) {
    for (std::size_t open = displayName.find(u'('); open != std::u16string_view::npos;
         open = displayName.find(u'(', open + 1)) {
        const std::u16string_view behind = displayName.substr(open + 1);
        if (const std::size_t length = MeasureVersion(behind); length > 0)
            return std::u16string(behind.substr(0, length));
    }
    return {};
}

std::u16string ExtractVersionNumber(std::u16string_view packageName) {
    std::size_t run = 0;
    for (std::size_t i = 0; i < packageName.size(); ++i) {
        run = IsDigit(packageName[i]) ? run + 1 : 0;
        if (run == kNumberLength)
            return std::u16string(packageName.substr(i + 1 - kNumberLength, kNumberLength));
    }
    return {};
}

std::u16string NormalizeVersion(std::u16string_view version) {
    std::size_t dots = 0;
    const auto thirdDot = std::find_if(version.begin(), version.end(), [&](char16_t character) {
        return character == u'.' && ++dots == 3;
    });
    return {version.begin(), thirdDot};
}

int CompareVersionNumbers(std::u16string_view a, std::u16string_view b) {
    if (a.size() != kNumberLength || b.size() != kNumberLength)
        return 0;
    if (const int order = CompareCharacters(a.substr(0, 2), b.substr(0, 2)); order != 0)
        return order;
    return CompareCharacters(a.substr(5), b.substr(5));
}

bool IsIncrementalPackage(std::u16string_view packageName) {
    return packageName.find(u"_incr") != std::u16string_view::npos;
}

PatchType PatchTypeOfPackage(std::u16string_view packageName) {
    if (packageName.empty())
        return kUnknownType;
    return IsIncrementalPackage(packageName) ? kIncremental : kCumulative;
}

}  // namespace saltrove
