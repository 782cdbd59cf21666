#pragma once

#include "platform/types.h"

/// The calls of Windows about the console of a process, as far as they are used.
namespace platform {

inline constexpr UINT CP_UTF8 = 65001;

/// The code page in which a console takes what is written to it; 0 without a console.
[[nodiscard]] UINT GetConsoleOutputCP();
BOOL SetConsoleOutputCP(UINT codePage);

}  // namespace platform
