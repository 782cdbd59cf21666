#pragma once

#include "platform/windows/native.h"

/// Functions of modules that the executable does not import, so that it starts where a module is
/// missing and no module of that name can be planted beside it.
namespace platform {

/// A function of a system module, or null where either is missing. The module is loaded from the
/// system folder alone and stays loaded.
template <typename Function>
[[nodiscard]] Function* FindLateCall(const wchar_t* module, const char* functionName) {
    const ::HMODULE handle = ::LoadLibraryExW(module, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (handle == nullptr)
        return nullptr;
    const ::FARPROC address = ::GetProcAddress(handle, functionName);
    return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(address));
}

}  // namespace platform
