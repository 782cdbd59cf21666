#pragma once

#include <cstddef>
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

/// Hash, equality and order of names by that form, for the containers of the standard library.
struct CaselessHash {
    using is_transparent = void;
    // Not noexcept, and so the library keeps the number beside each name instead of working it out
    // wherever it passes one.
    std::size_t operator()(std::u16string_view name) const;
};
struct CaselessEqual {
    using is_transparent = void;
    bool operator()(std::u16string_view a, std::u16string_view b) const;
};
struct CaselessLess {
    using is_transparent = void;
    bool operator()(std::u16string_view a, std::u16string_view b) const;
};

}  // namespace platform::simulated
