#include "inventory/lower_case.h"

#include "platform/wide_text.h"

#include <algorithm>

namespace saltrove {

NativeLocale::NativeLocale() : native_(platform::_create_locale(platform::CTYPE_CATEGORY, "")) {}

char16_t NativeLocale::ToLower(char16_t character) const {
    return native_ ? platform::_towlower_l(character, native_.get())
                   : platform::ToLowerAscii(character);
}

std::u16string LowerCaseCopy(std::u16string_view text, const NativeLocale& locale) {
    std::u16string copy(text);
    std::transform(copy.begin(), copy.end(), copy.begin(),
                   [&](char16_t character) { return locale.ToLower(character); });
    return copy;
}

}  // namespace saltrove
