#include "platform/texts.h"

#include "platform/windows/native.h"

namespace platform {

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* bytes, int size, char16_t* text,
                        int capacity) {
    return ::MultiByteToWideChar(codePage, flags, bytes, size, Native(text), capacity);
}

}  // namespace platform
