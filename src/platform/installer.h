#pragma once

#include "platform/types.h"

/// The Windows Installer calls, as far as they are used.
namespace platform {

inline constexpr DWORD MSIINSTALLCONTEXT_MACHINE = 4;

inline constexpr DWORD MSIPATCHSTATE_APPLIED = 1;
inline constexpr DWORD MSIPATCHSTATE_SUPERSEDED = 2;
inline constexpr DWORD MSIPATCHSTATE_OBSOLETED = 4;
inline constexpr DWORD MSIPATCHSTATE_REGISTERED = 8;
inline constexpr DWORD MSIPATCHSTATE_ALL = 15;

/// Delivers the patch at `index` (counted from 0) among those of `productCode`, or of every product
/// when it is null, that are in one of the states of `filter`.
///
/// `patchCode` and `targetProductCode` have room for 39 characters, a braced GUID and its
/// terminator. The remaining pointers may be null. ERROR_NO_MORE_ITEMS past the last patch.
[[nodiscard]] UINT MsiEnumPatchesExW(const char16_t* productCode, const char16_t* userSid,
                                     DWORD context, DWORD filter, DWORD index, char16_t* patchCode,
                                     char16_t* targetProductCode, DWORD* targetContext,
                                     char16_t* targetUserSid, DWORD* targetUserSidLength);

/// Reads a property of a patch of a product as a text. `size` is in characters: the buffer's,
/// terminator included, before the call; the text's, without it, after the call. ERROR_MORE_DATA if
/// the text and its terminator do not fit.
[[nodiscard]] UINT MsiGetPatchInfoExW(const char16_t* patchCode, const char16_t* productCode,
                                      const char16_t* userSid, DWORD context,
                                      const char16_t* property, char16_t* value, DWORD* size);

}  // namespace platform
