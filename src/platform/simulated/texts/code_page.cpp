#include "platform/simulated/texts/code_page.h"

#include "platform/simulated/texts/unicode.h"
#include "platform/texts.h"

#include <algorithm>
#include <iterator>

namespace platform::simulated {

namespace {

constexpr std::uint32_t kNeutral = 0;
constexpr std::uint32_t kWestern = 1252;
constexpr std::uint32_t kUtf8 = 65001;

// Windows has more; here every system has to have the same ones.
constexpr std::uint32_t kKnown[] = {kNeutral, 437,  850,  852,  866,  874,      932,
                                    936,      949,  950,  1250, 1251, kWestern, 1253,
                                    1254,     1255, 1256, 1257, 1258, kUtf8};

int DecodeBytes(std::uint32_t codePage, std::string_view bytes, std::u16string& text) {
    text.resize(bytes.size());
    const int size = static_cast<int>(bytes.size());
    return MultiByteToWideChar(codePage == kNeutral ? kWestern : codePage, 0, bytes.data(), size,
                               text.data(), size);
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
    std::u16string text;
    return std::ranges::find(kKnown, codePage) != std::end(kKnown) &&
           (codePage == kUtf8 || DecodeBytes(codePage, " ", text) == 1);
}

std::u16string DecodeCodePage(std::uint32_t codePage, std::string_view bytes) {
    if (codePage == kUtf8)
        return DecodeLenientUtf8(bytes);
    std::u16string text;
    if (!bytes.empty())
        text.resize(static_cast<std::size_t>(DecodeBytes(codePage, bytes, text)));
    return text;
}

}  // namespace platform::simulated
