#pragma once

#include "platform/c_runtime.h"

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

namespace saltrove {

/// The native locale of the user's environment, or the classic one (A to Z) where that cannot be
/// set up. Texts that are compared with each other need the same one: a second try may end
/// otherwise.
class NativeLocale {
  public:
    NativeLocale();

    [[nodiscard]] char16_t ToLower(char16_t character) const;

  private:
    struct Closer {
        void operator()(platform::_locale_t locale) const {
            platform::_free_locale(locale);
        }
    };

    std::unique_ptr<std::remove_pointer_t<platform::_locale_t>, Closer> native_;
};

/// A copy in which each 16-bit character is lower-cased by `locale`.
[[nodiscard]] std::u16string LowerCaseCopy(std::u16string_view text, const NativeLocale& locale);

}  // namespace saltrove
