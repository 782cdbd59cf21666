#pragma once

#include "platform/types.h"

/// The registry calls of Windows, as far as they are used.
///
/// All texts end in NUL. A key path is relative to `key`, parts joined by a backslash, compared
/// without regard to case. A path that begins with a backslash is ERROR_BAD_PATHNAME.
namespace platform {

struct FILETIME;

struct HKEY_TAG;
using HKEY = HKEY_TAG*;

/// The handle value that Windows gives a predefined key: its 32-bit number, sign-extended.
[[nodiscard]] inline HKEY MakePredefinedKey(DWORD number) {
    return reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<std::int32_t>(number)));
}

inline const HKEY HKEY_CLASSES_ROOT = MakePredefinedKey(0x80000000);
inline const HKEY HKEY_CURRENT_USER = MakePredefinedKey(0x80000001);
inline const HKEY HKEY_LOCAL_MACHINE = MakePredefinedKey(0x80000002);
inline const HKEY HKEY_USERS = MakePredefinedKey(0x80000003);
inline const HKEY HKEY_PERFORMANCE_DATA = MakePredefinedKey(0x80000004);
inline const HKEY HKEY_CURRENT_CONFIG = MakePredefinedKey(0x80000005);
inline const HKEY HKEY_DYN_DATA = MakePredefinedKey(0x80000006);

inline constexpr DWORD KEY_QUERY_VALUE = 0x0001;
inline constexpr DWORD KEY_SET_VALUE = 0x0002;
inline constexpr DWORD KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr DWORD KEY_WOW64_64KEY = 0x0100;
inline constexpr DWORD KEY_READ = 0x20019;
inline constexpr DWORD KEY_WRITE = 0x20006;

inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;

/// Opens a key that exists; backslashes at the end of its path do not count. `options` is 0. On
/// success `result` is a key to be closed with RegCloseKey; otherwise it is null and the result is
/// the error: 2 for a missing key.
[[nodiscard]] LSTATUS RegOpenKeyExW(HKEY key, const char16_t* subKey, DWORD options,
                                    DWORD samDesired, HKEY* result);

/// Opens a key, creating it and its missing parents. `reserved` is 0, `keyClass` and `security` are
/// null; `disposition` may be null. Result as for RegOpenKeyExW, but that `result` may be left as
/// it was.
[[nodiscard]] LSTATUS RegCreateKeyExW(HKEY key, const char16_t* subKey, DWORD reserved,
                                      char16_t* keyClass, DWORD options, DWORD samDesired,
                                      const SECURITY_ATTRIBUTES* security, HKEY* result,
                                      DWORD* disposition);

/// Reads a value's bytes as they are stored; a text may lack its terminator, which is added behind
/// it, uncounted, where there is room. `size` is in bytes:
/// the buffer's before the call, the value's after it. `type` may be null. A missing value is error
/// 2; one that does not fit is ERROR_MORE_DATA and leaves `data` undefined.
[[nodiscard]] LSTATUS RegQueryValueExW(HKEY key, const char16_t* valueName, DWORD* reserved,
                                       DWORD* type, BYTE* data, DWORD* size);

/// Sets a value. `reserved` is 0. `size` is in bytes and counts the terminator of a text.
LSTATUS RegSetValueExW(HKEY key, const char16_t* valueName, DWORD reserved, DWORD type,
                       const BYTE* data, DWORD size);

/// Delivers the name of the key at `index` (counted from 0) among those right below `key`, which is
/// open with KEY_ENUMERATE_SUB_KEYS. `nameSize` is in characters: the buffer's, terminator
/// included, before the call; the name's, without it, after a success. The other pointers are null.
/// ERROR_NO_MORE_ITEMS past the last key; ERROR_MORE_DATA for a name that does not fit, which is
/// none where there is room for 256 characters.
[[nodiscard]] LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize,
                                    DWORD* reserved, char16_t* keyClass, DWORD* classSize,
                                    FILETIME* lastWriteTime);

LSTATUS RegCloseKey(HKEY key);

}  // namespace platform
