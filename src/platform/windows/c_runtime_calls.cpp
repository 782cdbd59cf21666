#include "platform/c_runtime.h"

#include "platform/windows/native.h"

#include <clocale>
#include <cstdio>
#include <cwctype>

namespace platform {

static_assert(CTYPE_CATEGORY == LC_CTYPE);

FILE* _wfsopen(const char16_t* path, const char16_t* mode, int shareFlag) {
    return reinterpret_cast<FILE*>(::_wfsopen(Native(path), Native(mode), shareFlag));
}

std::size_t fwrite(const void* data, std::size_t size, std::size_t count, FILE* stream) {
    return ::fwrite(data, size, count, reinterpret_cast<::FILE*>(stream));
}

int fflush(FILE* stream) {
    return ::fflush(reinterpret_cast<::FILE*>(stream));
}

int fclose(FILE* stream) {
    return ::fclose(reinterpret_cast<::FILE*>(stream));
}

_locale_t _create_locale(int category, const char* name) {
    return reinterpret_cast<_locale_t>(::_create_locale(category, name));
}

char16_t _towlower_l(char16_t character, _locale_t locale) {
    return static_cast<char16_t>(::_towlower_l(character, reinterpret_cast<::_locale_t>(locale)));
}

void _free_locale(_locale_t locale) {
    ::_free_locale(reinterpret_cast<::_locale_t>(locale));
}

}  // namespace platform
