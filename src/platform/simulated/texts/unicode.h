#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// UTF-8 and UTF-16, between the files of the host and the texts of the machine.
namespace platform::simulated {

/// Decodes UTF-8. Nothing if the bytes are not valid (overlong forms, surrogates and numbers above
/// U+10FFFF are not); `invalidAt` is then the place of the first byte that is at fault.
[[nodiscard]] std::optional<std::u16string> DecodeUtf8(std::string_view bytes,
                                                       std::size_t& invalidAt);

/// The same where the place is of no interest.
[[nodiscard]] std::optional<std::u16string> DecodeUtf8(std::string_view bytes);

/// Encodes as UTF-8. A surrogate without its other half becomes U+FFFD.
[[nodiscard]] std::string EncodeUtf8(std::u16string_view text);

/// What a byte-order mark at the start of a UTF-8 file looks like.
inline constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

}  // namespace platform::simulated
