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

/// A module that is loaded already; null if it is not. Not to be let go.
[[nodiscard]] HMODULE GetModuleHandleW(const char16_t* moduleName);

/// The path of a module, of the running program when it is null. `size` is in characters,
/// terminator included. The length of the path; `size` if it had to be cut to fit; 0 on failure.
[[nodiscard]] DWORD GetModuleFileNameW(HMODULE module, char16_t* path, DWORD size);

}  // namespace platform
