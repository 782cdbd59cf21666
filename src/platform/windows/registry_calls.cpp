#include "platform/registry.h"

#include "platform/windows/native.h"

namespace platform {

LSTATUS RegOpenKeyExW(HKEY key, const char16_t* subKey, DWORD options, DWORD samDesired,
                      HKEY* result) {
    return ::RegOpenKeyExW(Native(key), Native(subKey), options, samDesired,
                           reinterpret_cast<::HKEY*>(result));
}

LSTATUS RegCreateKeyExW(HKEY key, const char16_t* subKey, DWORD reserved, char16_t* keyClass,
                        DWORD options, DWORD samDesired, const SECURITY_ATTRIBUTES* security,
                        HKEY* result, DWORD* disposition) {
    return ::RegCreateKeyExW(
        Native(key), Native(subKey), reserved, Native(keyClass), options, samDesired,
        reinterpret_cast<::SECURITY_ATTRIBUTES*>(const_cast<SECURITY_ATTRIBUTES*>(security)),
        reinterpret_cast<::HKEY*>(result), Native(disposition));
}

LSTATUS RegQueryValueExW(HKEY key, const char16_t* valueName, DWORD* reserved, DWORD* type,
                         BYTE* data, DWORD* size) {
    return ::RegQueryValueExW(Native(key), Native(valueName), Native(reserved), Native(type), data,
                              Native(size));
}

LSTATUS RegSetValueExW(HKEY key, const char16_t* valueName, DWORD reserved, DWORD type,
                       const BYTE* data, DWORD size) {
    return ::RegSetValueExW(Native(key), Native(valueName), reserved, type, data, size);
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize, DWORD* reserved,
                      char16_t* keyClass, DWORD* classSize, FILETIME* lastWriteTime) {
    return ::RegEnumKeyExW(Native(key), index, Native(name), Native(nameSize), Native(reserved),
                           Native(keyClass), Native(classSize),
                           reinterpret_cast<::FILETIME*>(lastWriteTime));
}

LSTATUS RegCloseKey(HKEY key) {
    return ::RegCloseKey(Native(key));
}

}  // namespace platform
