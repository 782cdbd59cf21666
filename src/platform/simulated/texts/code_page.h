#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace platform::simulated {

/// Whether texts of this code page can be decoded: 0 (neutral, read as 1252), 437, 850, 852, 866,
/// 874, 932, 936, 949, 950, 1250 to 1258 and 65001 (UTF-8), if this system has it.
[[nodiscard]] bool IsKnownCodePage(std::uint32_t codePage);

/// The text of bytes, fewer than 2^31, in a known code page: no more characters than bytes. What is
/// not valid becomes what Windows puts in its place (see MultiByteToWideChar); in UTF-8, where that
/// differs from one Windows to the next, every byte at fault becomes U+FFFD.
[[nodiscard]] std::u16string DecodeCodePage(std::uint32_t codePage, std::string_view bytes);

}  // namespace platform::simulated
