#include "platform/simulated/texts/sid.h"

#include <algorithm>

namespace platform::simulated {

namespace {

constexpr BYTE kRevision = 1;
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kPartSize = 4;

/// Takes the number at the start of the text, and the hyphen behind it.
std::uint64_t TakeNumber(std::u16string_view& text) {
    const std::u16string_view digits = text.substr(0, text.find(u'-'));
    text.remove_prefix(std::min(digits.size() + 1, text.size()));
    std::uint64_t number = 0;
    for (const char16_t digit : digits)
        number = number * 10 + static_cast<std::uint64_t>(digit - u'0');
    return number;
}

}  // namespace

std::vector<BYTE> MakeSid(const SID_IDENTIFIER_AUTHORITY& authority,
                          const std::vector<DWORD>& parts) {
    std::vector<BYTE> sid = {kRevision, static_cast<BYTE>(parts.size())};
    for (const BYTE byte : authority.Value)
        sid.push_back(byte);
    for (const DWORD part : parts) {
        for (unsigned shift = 0; shift < 8 * kPartSize; shift += 8)
            sid.push_back(static_cast<BYTE>(part >> shift & 0xFFU));
    }
    return sid;
}

std::vector<BYTE> MakeSidFromText(std::u16string_view text) {
    constexpr std::u16string_view kPrefix = u"S-1-";
    text.remove_prefix(std::min(kPrefix.size(), text.size()));
    const std::uint64_t authorityNumber = TakeNumber(text);
    SID_IDENTIFIER_AUTHORITY authority{};
    for (unsigned i = 0; i < 6; ++i)
        authority.Value[i] = static_cast<BYTE>(authorityNumber >> (8 * (5 - i)) & 0xFFU);
    std::vector<DWORD> parts;
    while (!text.empty())
        parts.push_back(static_cast<DWORD>(TakeNumber(text)));
    return MakeSid(authority, parts);
}

std::u16string FormatSid(PSID sid) {
    const auto* bytes = static_cast<const BYTE*>(sid);
    std::uint64_t authority = 0;
    for (std::size_t i = 2; i < kHeaderSize; ++i)
        authority = authority << 8U | bytes[i];
    std::string text = "S-" + std::to_string(bytes[0]) + "-" + std::to_string(authority);
    for (std::size_t part = 0; part < bytes[1]; ++part) {
        DWORD number = 0;
        for (std::size_t i = kPartSize; i > 0; --i)
            number = number << 8U | bytes[kHeaderSize + kPartSize * part + i - 1];
        text += "-" + std::to_string(number);
    }
    return {text.begin(), text.end()};
}

std::size_t GetSidSize(PSID sid) {
    return kHeaderSize + kPartSize * static_cast<const BYTE*>(sid)[1];
}

}  // namespace platform::simulated
