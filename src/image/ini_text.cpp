#include "image/ini_text.h"

#include <cstdint>
#include <limits>

namespace image {

namespace {

constexpr std::size_t kDigits = 4;

/// Takes what stands behind a backslash in a text in quotes.
char16_t TakeEscaped(std::u16string_view& rest) {
    if (rest.starts_with(u'\\') || rest.starts_with(u'"')) {
        const char16_t character = rest.front();
        rest.remove_prefix(1);
        return character;
    }
    if (!rest.starts_with(u'u') || rest.size() <= kDigits)
        throw LineError("behind a \\ in quotes stands \\, \" or u and four digits");
    const std::u16string_view digits = rest.substr(1, kDigits);
    rest.remove_prefix(1 + kDigits);
    return static_cast<char16_t>(
        ParseNumber<std::uint16_t>(digits, 1, std::numeric_limits<std::uint16_t>::max(),
                                   "a character in hexadecimal digits", 16));
}

bool IsHighSurrogate(char16_t character) {
    return character >= 0xD800 && character < 0xDC00;
}

bool IsLowSurrogate(char16_t character) {
    return character >= 0xDC00 && character < 0xE000;
}

bool IsControl(char16_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

void AppendEscaped(std::u16string& quoted, char16_t character) {
    quoted += u"\\u";
    for (std::size_t left = kDigits; left > 0; --left)
        quoted += u"0123456789ABCDEF"[character >> (4 * (left - 1)) & 0xF];
}

}  // namespace

std::string Quote(std::u16string_view text) {
    return "\"" + platform::simulated::EncodeUtf8(text) + "\"";
}

std::u16string_view Trim(std::u16string_view text) {
    constexpr std::u16string_view kBlanks = u" \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::u16string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::uint32_t ParseErrorCode(std::u16string_view text) {
    return ParseNumber<std::uint32_t>(text, 1, std::numeric_limits<std::uint32_t>::max(),
                                      "an error code");
}

std::u16string ParseQuotedText(std::u16string_view quoted) {
    if (!quoted.starts_with(u'"'))
        throw LineError(Quote(quoted) + " is not a text in quotes");
    std::u16string_view rest = quoted.substr(1);
    std::u16string text;
    while (!rest.empty() && rest.front() != u'"') {
        const char16_t character = rest.front();
        rest.remove_prefix(1);
        text += character == u'\\' ? TakeEscaped(rest) : character;
    }
    if (rest != u"\"")
        throw LineError("the text in quotes ends in no quote, or in front of the line's end");
    return text;
}

std::u16string FormatQuotedText(std::u16string_view text) {
    std::u16string quoted(u"\"");
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t character = text[i];
        const bool isPair =
            IsHighSurrogate(character) && i + 1 < text.size() && IsLowSurrogate(text[i + 1]);
        if (isPair) {
            quoted.append(text.substr(i++, 2));
        } else if (IsControl(character) || IsHighSurrogate(character) ||
                   IsLowSurrogate(character)) {
            AppendEscaped(quoted, character);
        } else {
            if (character == u'\\' || character == u'"')
                quoted += u'\\';
            quoted += character;
        }
    }
    return quoted + u'"';
}

}  // namespace image
