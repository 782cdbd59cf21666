#pragma once

#include <string>
#include <string_view>

namespace saltrove {

/// A copy in which each 16-bit character is lower-cased by the native locale of the user's
/// environment, which is set up for this call, or by the classic locale where that cannot be done.
[[nodiscard]] std::u16string LowerCaseCopy(std::u16string_view text);

}  // namespace saltrove
