#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace platform::simulated {

/// Whether texts of this code page can be decoded: 0 (neutral, read as 1252), 1252 and 65001
/// (UTF-8).
[[nodiscard]] bool IsKnownCodePage(std::uint32_t codePage);

/// The text of bytes in a known code page. Bytes that are not valid in it become U+FFFD.
[[nodiscard]] std::u16string DecodeCodePage(std::uint32_t codePage, std::string_view bytes);

}  // namespace platform::simulated
