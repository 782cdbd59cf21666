#pragma once

#include "platform/types.h"

/// The file calls of Windows, as far as they are used. A path ends in NUL and compares without
/// regard to case. Each call sets the last error when it fails; so do some calls of other headers,
/// which say so.
namespace platform {

inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x01;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;

inline constexpr DWORD MOVEFILE_DELAY_UNTIL_REBOOT = 4;

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD FILE_SHARE_DELETE = 4;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD FILE_BEGIN = 0;

struct LARGE_INTEGER {
    std::int64_t QuadPart;
};

struct OVERLAPPED;

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

/// An entry of a directory. The names end in NUL.
struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    char16_t cFileName[MAX_PATH];
    char16_t cAlternateFileName[14];
};

/// The calling thread's last error. To be read right behind the call that failed: any other call
/// may change it.
[[nodiscard]] DWORD GetLastError();

/// Begins a search for the entries that a pattern fits, by their long or their short name; it may
/// hold "*" and "?" in its last part. Delivers the first. The result is to be closed with
/// FindClose; INVALID_HANDLE_VALUE if there is no such entry or directory.
[[nodiscard]] HANDLE FindFirstFileW(const char16_t* pattern, WIN32_FIND_DATAW* entry);

/// Delivers the next entry; 0 behind the last one.
[[nodiscard]] BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* entry);

BOOL FindClose(HANDLE search);

/// The attribute bits of a file or directory, or INVALID_FILE_ATTRIBUTES.
[[nodiscard]] DWORD GetFileAttributesW(const char16_t* path);

/// The full form of a path. With a buffer that is too small, or none: the size in characters that
/// is needed, terminator included. 0 on failure. `filePart` may be null.
[[nodiscard]] DWORD GetFullPathNameW(const char16_t* path, DWORD size, char16_t* buffer,
                                     char16_t** filePart);

/// The Windows folder. `size` is in characters, terminator included. The length of the path; the
/// size that is needed if it does not fit; 0 on failure.
[[nodiscard]] UINT GetWindowsDirectoryW(char16_t* buffer, UINT size);

/// Opens a file that exists for reading: `access` is GENERIC_READ, `disposition` OPEN_EXISTING, and
/// what is not named is 0 or null. The result is to be closed with CloseHandle;
/// INVALID_HANDLE_VALUE on failure: error 2 or 3 for a missing file, 5 for a directory.
[[nodiscard]] HANDLE CreateFileW(const char16_t* path, DWORD access, DWORD shareMode,
                                 const SECURITY_ATTRIBUTES* security, DWORD disposition,
                                 DWORD flags, HANDLE templateFile);

/// Sets the place from which the next read begins, `distance` bytes from the file's start, with
/// FILE_BEGIN; non-zero on success. `newPlace` may be null.
[[nodiscard]] BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* newPlace,
                                    DWORD method);

/// Reads up to `size` bytes and goes on behind them; non-zero on success. Behind the file's end
/// `read` is 0. `overlapped` is null.
[[nodiscard]] BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read,
                            OVERLAPPED* overlapped);

/// Deletes a file; non-zero on success. A missing file is error 2 (3 if its directory is missing as
/// well), a directory or read-only file 5, a file in use 32.
[[nodiscard]] BOOL DeleteFileW(const char16_t* path);

/// With `newPath` null and the flag MOVEFILE_DELAY_UNTIL_REBOOT: has the system delete the file at
/// the next restart; non-zero when that is registered, whether or not there is such a file.
[[nodiscard]] BOOL MoveFileExW(const char16_t* path, const char16_t* newPath, DWORD flags);

}  // namespace platform
