#pragma once

#include <string>
#include <string_view>

namespace image {

/// A text in UTF-8 with each control character (U+0000 to U+001F, U+007F to U+009F) written as \x
/// and two digits, so that no name out of an image can break a line or steer a terminal. Bytes that
/// are not UTF-8 stay as they are.
[[nodiscard]] std::string EscapeControls(std::string_view text);

}  // namespace image
