#include "platform/texts.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

namespace {

/// A code page: what iconv calls it, and what Windows makes of bytes that iconv does not know.
struct CodePage {
    UINT number;
    const char* name;
    char16_t firstPrivate;   ///< for the bytes from 0xA0 that are not taken, in their order
    char16_t byDefault = 0;  ///< for what is no character of two bytes; 0 in a page without these
};

constexpr CodePage kCodePages[] = {
    {437, "IBM437", 0},        {850, "IBM850", 0},        {852, "IBM852", 0},
    {866, "IBM866", 0},        {874, "CP874", 0xF8C1},    {932, "CP932", 0xF8F0, 0x30FB},
    {936, "GBK", 0xF8F5, '?'}, {949, "UHC", 0xF8F7, '?'}, {950, "BIG5", 0xF8F8, '?'},
    {1250, "CP1250", 0},       {1251, "CP1251", 0},       {1252, "CP1252", 0},
    {1253, "CP1253", 0xF8F9},  {1254, "CP1254", 0},       {1255, "CP1255", 0xF88D},
    {1256, "CP1256", 0},       {1257, "CP1257", 0xF8FC},  {1258, "CP1258", 0},
};

/// Characters of two bytes that Windows leaves to its users, and iconv does not know: those of
/// these first and second bytes that are not taken, in their order. Second bytes from 0x7F to
/// `lastGap` are none.
struct PrivateArea {
    UINT codePage;
    BYTE firstLead, lastLead;
    BYTE firstTrail, lastTrail;
    BYTE lastGap;
    char16_t first;
};

constexpr PrivateArea kPrivateAreas[] = {
    {936, 0xAA, 0xAF, 0xA1, 0xFE, 0x7F, 0xE000}, {936, 0xF8, 0xFE, 0xA1, 0xFE, 0x7F, 0xE234},
    {936, 0xA1, 0xA7, 0x40, 0xA0, 0x7F, 0xE4C6}, {936, 0xA2, 0xA7, 0xA1, 0xFE, 0x7F, 0xE766},
    {936, 0xA8, 0xA9, 0x40, 0xFE, 0x7F, 0xE7BC}, {936, 0xD7, 0xD7, 0xFA, 0xFE, 0x7F, 0xE810},
    {936, 0xFE, 0xFE, 0x50, 0xA0, 0x7F, 0xE815}, {949, 0xC9, 0xC9, 0xA1, 0xFE, 0x7F, 0xE000},
    {949, 0xFE, 0xFE, 0xA1, 0xFE, 0x7F, 0xE05E}, {950, 0xFA, 0xFE, 0x40, 0xFE, 0xA0, 0xE000},
    {950, 0x8E, 0xA0, 0x40, 0xFE, 0xA0, 0xE311}, {950, 0x81, 0x8D, 0x40, 0xFE, 0xA0, 0xEEB8},
};

/// What every byte and every two bytes of a code page stand for. Looked up here, and not given to
/// iconv piece by piece, texts that are not valid come out as on Windows.
struct Characters {
    std::array<char16_t, 0x100> single{};
    std::vector<char16_t> pairs;  ///< by both bytes, 0 for none; empty in a page without
};

struct ConverterCloser {
    void operator()(iconv_t converter) const {
        iconv_close(converter);
    }
};
using Converter = std::unique_ptr<void, ConverterCloser>;

/// The one character that all of `bytes` are to iconv, or 0.
char16_t ConvertCharacter(const Converter& converter, std::string bytes) {
    unsigned char units[16] = {};
    char* in = bytes.data();
    char* out = reinterpret_cast<char*>(units);
    std::size_t inLeft = bytes.size();
    std::size_t outLeft = sizeof units;
    iconv(converter.get(), nullptr, nullptr, nullptr, nullptr);
    const bool isValid =
        iconv(converter.get(), &in, &inLeft, &out, &outLeft) != static_cast<std::size_t>(-1);
    // Some converters keep a letter back, since an accent may follow.
    iconv(converter.get(), nullptr, nullptr, &out, &outLeft);
    const bool isOne = isValid && outLeft == sizeof units - 2;
    return isOne ? static_cast<char16_t>(units[0] | units[1] << 8U) : u'\0';
}

/// Whether a byte is the first of two.
bool IsLead(const CodePage& page, std::size_t byte) {
    if (page.byDefault == 0)
        return false;
    // Page 932 has katakana of one byte in the middle.
    return page.number == 932 ? (byte > 0x80 && byte < 0xA0) || (byte > 0xDF && byte < 0xFD)
                              : byte > 0x80 && byte < 0xFF;
}

void FillSingle(const CodePage& page, const Converter& converter, Characters& characters) {
    char16_t nextPrivate = page.firstPrivate;
    for (std::size_t byte = 1; byte < characters.single.size(); ++byte) {
        char16_t& character = characters.single[byte];
        character = ConvertCharacter(converter, std::string(1, static_cast<char>(byte)));
        if (IsLead(page, byte))
            character = page.byDefault;
        else if (page.number == 1255 && byte == 0xCA)
            character = 0x05BA;  // a vowel point that iconv does not know there
        else if (character == 0)
            character = byte < 0xA0 ? static_cast<char16_t>(byte) : nextPrivate++;
    }
}

void FillPairs(const CodePage& page, const Converter& converter, Characters& characters) {
    if (page.byDefault == 0)
        return;
    characters.pairs.resize(0x10000);
    for (std::size_t pair = 0; pair < characters.pairs.size(); ++pair) {
        const std::size_t lead = pair >> 8U;
        if (IsLead(page, lead) && (pair & 0xFFU) != 0)
            characters.pairs[pair] = ConvertCharacter(
                converter, {static_cast<char>(lead), static_cast<char>(pair & 0xFFU)});
    }
    for (const PrivateArea& area : kPrivateAreas) {
        if (area.codePage != page.number)
            continue;
        char16_t next = area.first;
        for (std::size_t lead = area.firstLead; lead <= area.lastLead; ++lead) {
            for (std::size_t trail = area.firstTrail; trail <= area.lastTrail; ++trail) {
                char16_t& character = characters.pairs[lead << 8U | trail];
                const bool isGap = trail >= 0x7F && trail <= area.lastGap;
                if (character == 0 && !isGap)
                    character = next++;
            }
        }
    }
    for (std::size_t pair = 0; pair < characters.pairs.size(); ++pair) {
        if (IsLead(page, pair >> 8U) && (pair & 0xFFU) != 0 && characters.pairs[pair] == 0)
            characters.pairs[pair] = page.byDefault;
    }
}

/// The characters of a code page; nothing if it is none of those above, or the C library has come
/// without it.
std::optional<Characters> ReadCharacters(UINT codePage) {
    const auto* const page = std::ranges::find(kCodePages, codePage, &CodePage::number);
    if (page == std::end(kCodePages))
        return std::nullopt;
    const iconv_t opened = iconv_open("UTF-16LE", page->name);
    if (opened == reinterpret_cast<iconv_t>(-1))
        return std::nullopt;
    const Converter converter(opened);
    Characters characters;
    FillSingle(*page, converter, characters);
    FillPairs(*page, converter, characters);
    return characters;
}

/// The same, worked out once: a package has many texts.
const std::optional<Characters>& FindCharacters(UINT codePage) {
    static std::map<UINT, std::optional<Characters>> known;
    const auto found = known.find(codePage);
    return found != known.end() ? found->second
                                : known.emplace(codePage, ReadCharacters(codePage)).first->second;
}

}  // namespace

int MultiByteToWideChar(UINT codePage, DWORD /*flags*/, const char* bytes, int size, char16_t* text,
                        int capacity) {
    const std::optional<Characters>& characters = FindCharacters(codePage);
    if (!characters)
        return 0;
    int count = 0;
    for (int i = 0; i < size; ++i, ++count) {
        if (count == capacity)
            return 0;
        const auto byte = static_cast<unsigned char>(bytes[i]);
        const auto next = static_cast<unsigned char>(i + 1 < size ? bytes[i + 1] : '\0');
        const char16_t pair =
            characters->pairs.empty() ? u'\0' : characters->pairs[std::size_t{byte} << 8U | next];
        text[count] = pair != 0 ? pair : characters->single[byte];
        i += pair != 0 ? 1 : 0;
    }
    return count;
}

}  // namespace platform
