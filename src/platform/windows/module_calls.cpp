#include "platform/modules.h"

#include "platform/windows/native.h"

namespace platform {

HMODULE LoadLibraryW(const char16_t* fileName) {
    return reinterpret_cast<HMODULE>(::LoadLibraryW(Native(fileName)));
}

FARPROC GetProcAddress(HMODULE module, const char* functionName) {
    return reinterpret_cast<FARPROC>(::GetProcAddress(Native(module), functionName));
}

BOOL FreeLibrary(HMODULE module) {
    return ::FreeLibrary(Native(module));
}

HMODULE GetModuleHandleW(const char16_t* moduleName) {
    return reinterpret_cast<HMODULE>(::GetModuleHandleW(Native(moduleName)));
}

DWORD GetModuleFileNameW(HMODULE module, char16_t* path, DWORD size) {
    return ::GetModuleFileNameW(Native(module), Native(path), size);
}

}  // namespace platform
