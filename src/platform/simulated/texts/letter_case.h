#pragma once

#include <string>
#include <string_view>

/// Letter case on the simulated machine. It does not depend on the host's locale, so that a run
/// comes out the same wherever it is replayed.
namespace platform::simulated {

/// The other case of one 16-bit character, or the character itself.
[[nodiscard]] char16_t ToUpper(char16_t character);
[[nodiscard]] char16_t ToLower(char16_t character);

/// The form in which names are compared without regard to case: in capitals, as Windows does it for
/// file and key names.
[[nodiscard]] std::u16string FoldCase(std::u16string_view text);

}  // namespace platform::simulated
