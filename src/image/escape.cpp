#include "image/escape.h"

#include <cstddef>

namespace image {

std::string EscapeControls(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto character = static_cast<unsigned char>(text[i]);
        // U+0080 to U+009F are the byte C2 and one of 80 to 9F.
        const unsigned char next =
            i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : '\0';
        const bool isUpper = character == 0xC2 && next >= 0x80 && next < 0xA0;
        if (isUpper) {
            character = next;
            ++i;
        }
        if (isUpper || character < 0x20 || character == 0x7F)
            escaped.append("\\x")
                .append(1, kDigits[character >> 4U])
                .append(1, kDigits[character & 0xFU]);
        else
            escaped.push_back(text[i]);
    }
    return escaped;
}

}  // namespace image
