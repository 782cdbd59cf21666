#pragma once

#include "platform/types.h"

/// The module calls of Windows, as far as they are used.
namespace platform {

struct HMODULE_TAG;
using HMODULE = HMODULE_TAG*;
using FARPROC = std::intptr_t (*)();

/// Loads a module by its name; null if it cannot be had. To be let go with FreeLibrary.
[[nodiscard]] HMODULE LoadLibraryW(const char16_t* fileName);

/// The address of an exported function (its name is in ASCII), or null.
[[nodiscard]] FARPROC GetProcAddress(HMODULE module, const char* functionName);

BOOL FreeLibrary(HMODULE module);

}  // namespace platform
