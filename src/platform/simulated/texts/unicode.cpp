#include "platform/simulated/texts/unicode.h"

namespace platform::simulated {

namespace {

constexpr char32_t kFirstSurrogate = 0xD800;
constexpr char32_t kFirstLowSurrogate = 0xDC00;
constexpr char32_t kLastSurrogate = 0xDFFF;
constexpr char32_t kFirstPair = 0x10000;
constexpr char32_t kReplacement = 0xFFFD;

/// The forms that a character takes, by its lead byte: the bits that mark it, the bytes behind it,
/// and the lowest number that may be written so.
struct Utf8Form {
    unsigned char mask;
    unsigned char mark;
    std::size_t trailing;
    char32_t lowest;
};

constexpr Utf8Form kForms[] = {
    {0x80, 0x00, 0, 0x0},
    {0xE0, 0xC0, 1, 0x80},
    {0xF0, 0xE0, 2, 0x800},
    {0xF8, 0xF0, 3, 0x10000},
};

bool IsSurrogate(char32_t character) {
    return character >= kFirstSurrogate && character <= kLastSurrogate;
}

/// Decodes the character at the start of `bytes`, which is not empty, and takes it away.
std::optional<char32_t> TakeCharacter(std::string_view& bytes) {
    const auto lead = static_cast<unsigned char>(bytes.front());
    for (const Utf8Form& form : kForms) {
        if ((lead & form.mask) != form.mark)
            continue;
        if (bytes.size() <= form.trailing)
            return std::nullopt;
        char32_t character = lead & static_cast<unsigned char>(~form.mask);
        for (const char trailing : bytes.substr(1, form.trailing)) {
            const auto byte = static_cast<unsigned char>(trailing);
            if ((byte & 0xC0U) != 0x80U)
                return std::nullopt;
            character = character << 6U | (byte & 0x3FU);
        }
        if (character < form.lowest || character > 0x10FFFF || IsSurrogate(character))
            return std::nullopt;
        bytes.remove_prefix(1 + form.trailing);
        return character;
    }
    return std::nullopt;
}

void AppendUtf8(std::string& bytes, char32_t character) {
    if (character < 0x80) {
        bytes.push_back(static_cast<char>(character));
        return;
    }
    const std::size_t trailing = character < 0x800 ? 1 : (character < kFirstPair ? 2 : 3);
    bytes.push_back(static_cast<char>(kForms[trailing].mark | character >> (6 * trailing)));
    for (std::size_t left = trailing; left > 0; --left)
        bytes.push_back(static_cast<char>(0x80U | (character >> (6 * (left - 1)) & 0x3FU)));
}

}  // namespace

std::optional<std::u16string> DecodeUtf8(std::string_view bytes, std::size_t& invalidAt) {
    std::u16string text;
    std::string_view rest = bytes;
    while (!rest.empty()) {
        const std::optional<char32_t> character = TakeCharacter(rest);
        if (!character) {
            invalidAt = bytes.size() - rest.size();
            return std::nullopt;
        }
        if (*character < kFirstPair) {
            text.push_back(static_cast<char16_t>(*character));
            continue;
        }
        const char32_t offset = *character - kFirstPair;
        text.push_back(static_cast<char16_t>(kFirstSurrogate + (offset >> 10U)));
        text.push_back(static_cast<char16_t>(kFirstLowSurrogate + (offset & 0x3FFU)));
    }
    return text;
}

std::optional<std::u16string> DecodeUtf8(std::string_view bytes) {
    std::size_t invalidAt = 0;
    return DecodeUtf8(bytes, invalidAt);
}

std::string EncodeUtf8(std::u16string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t character = text[i];
        const char32_t next = i + 1 < text.size() ? text[i + 1] : 0;
        const bool isPair = character >= kFirstSurrogate && character < kFirstLowSurrogate &&
                            next >= kFirstLowSurrogate && next <= kLastSurrogate;
        if (isPair) {
            character =
                kFirstPair + ((character - kFirstSurrogate) << 10U) + (next - kFirstLowSurrogate);
            ++i;
        } else if (IsSurrogate(character)) {
            character = kReplacement;
        }
        AppendUtf8(bytes, character);
    }
    return bytes;
}

}  // namespace platform::simulated
