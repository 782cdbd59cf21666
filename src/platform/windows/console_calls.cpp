#include "platform/console.h"

#include "platform/windows/native.h"

namespace platform {

UINT GetConsoleOutputCP() {
    return ::GetConsoleOutputCP();
}

BOOL SetConsoleOutputCP(UINT codePage) {
    return ::SetConsoleOutputCP(codePage);
}

}  // namespace platform
