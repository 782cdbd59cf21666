#include "inventory/lower_case.h"

#include "platform/c_runtime.h"
#include "platform/wide_text.h"

#include <algorithm>
#include <memory>
#include <type_traits>

namespace saltrove {

namespace {

struct LocaleCloser {
    void operator()(platform::_locale_t locale) const {
        platform::_free_locale(locale);
    }
};

using Locale = std::unique_ptr<std::remove_pointer_t<platform::_locale_t>, LocaleCloser>;

}  // namespace

std::u16string LowerCaseCopy(std::u16string_view text) {
    const Locale native(platform::_create_locale(platform::CTYPE_CATEGORY, ""));
    std::u16string copy(text);
    std::transform(copy.begin(), copy.end(), copy.begin(), [&](char16_t character) {
        return native ? platform::_towlower_l(character, native.get())
                      : platform::ToLowerAscii(character);
    });
    return copy;
}

}  // namespace saltrove
