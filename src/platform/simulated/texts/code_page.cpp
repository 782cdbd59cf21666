#include "platform/simulated/texts/code_page.h"

#include "platform/simulated/texts/unicode.h"

namespace platform::simulated {

namespace {

constexpr std::uint32_t kUtf8 = 65001;

// Code page 1252 from 0x80 to 0x9F; all its other characters are those of Latin-1. Five places are
// not taken and stand for the control characters of the same number.
constexpr char16_t k1252[] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                              0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                              0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                              0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

std::u16string Decode1252(std::string_view bytes) {
    std::u16string text;
    for (const char byte : bytes) {
        const auto character = static_cast<unsigned char>(byte);
        const bool isMoved = character >= 0x80 && character < 0xA0;
        text.push_back(isMoved ? k1252[character - 0x80] : character);
    }
    return text;
}

std::u16string DecodeLenientUtf8(std::string_view bytes) {
    std::u16string text;
    std::size_t invalidAt = 0;
    while (true) {
        if (const auto decoded = DecodeUtf8(bytes, invalidAt))
            return text + *decoded;
        text += *DecodeUtf8(bytes.substr(0, invalidAt)) + u'\uFFFD';
        bytes.remove_prefix(invalidAt + 1);
    }
}

}  // namespace

bool IsKnownCodePage(std::uint32_t codePage) {
    return codePage == 0 || codePage == 1252 || codePage == kUtf8;
}

std::u16string DecodeCodePage(std::uint32_t codePage, std::string_view bytes) {
    return codePage == kUtf8 ? DecodeLenientUtf8(bytes) : Decode1252(bytes);
}

}  // namespace platform::simulated
