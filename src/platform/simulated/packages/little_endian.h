#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Numbers in the byte order of Windows' file formats. The bytes have to be there.
namespace platform::simulated {

[[nodiscard]] inline std::uint16_t ReadU16(std::string_view bytes, std::size_t place) {
    return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[place]) |
                                      static_cast<unsigned char>(bytes[place + 1]) << 8U);
}

[[nodiscard]] inline std::uint32_t ReadU32(std::string_view bytes, std::size_t place) {
    return ReadU16(bytes, place) | std::uint32_t{ReadU16(bytes, place + 2)} << 16U;
}

}  // namespace platform::simulated
