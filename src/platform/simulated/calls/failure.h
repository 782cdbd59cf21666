#pragma once

#include "platform/simulated/machine/machine.h"

namespace platform::simulated {

/// The result of a call that fails with `code` as its last error.
inline BOOL Fail(Machine& machine, DWORD code) {
    machine.lastError = code;
    return 0;
}

}  // namespace platform::simulated
