#pragma once

#include "platform/types.h"

/// The Windows Installer calls, as far as they are used.
namespace platform {

/// A database, a view or a record; 0 is none.
using MSIHANDLE = std::uint32_t;

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

/// Opens the database in a package. Of `persist` only the numeric value of the pointer is looked
/// at: MSIDBOPEN_READONLY, 0, and MSIDBOPEN_PATCHFILE, 16, added as pointers to characters of two
/// bytes, make 32. To be closed with MsiCloseHandle. A file that cannot be opened, or is no such
/// package, is ERROR_OPEN_FAILED.
[[nodiscard]] UINT MsiOpenDatabaseW(const char16_t* path, const char16_t* persist,
                                    MSIHANDLE* database);

/// Prepares a query; a table or column that is not there is ERROR_BAD_QUERY_SYNTAX. To be closed
/// with MsiCloseHandle.
[[nodiscard]] UINT MsiDatabaseOpenViewW(MSIHANDLE database, const char16_t* query, MSIHANDLE* view);

/// Carries out a view's query. `record` holds its parameters, 0 if it has none.
[[nodiscard]] UINT MsiViewExecute(MSIHANDLE view, MSIHANDLE record);

/// Delivers the next row as a record, to be closed with MsiCloseHandle. ERROR_NO_MORE_ITEMS behind
/// the last one.
[[nodiscard]] UINT MsiViewFetch(MSIHANDLE view, MSIHANDLE* record);

/// Reads a field, counted from 1, as a text. `size` is in characters: the buffer's, terminator
/// included, before the call; the text's, without it, after the call. A text that does not fit is
/// cut to what does, perhaps without a terminator, and is ERROR_MORE_DATA.
UINT MsiRecordGetStringW(MSIHANDLE record, UINT field, char16_t* value, DWORD* size);

UINT MsiCloseHandle(MSIHANDLE handle);

}  // namespace platform
