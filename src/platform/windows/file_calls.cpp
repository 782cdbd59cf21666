#include "platform/files.h"

#include "platform/windows/native.h"

namespace platform {

namespace {

SALTROVE_SAME_SIZE(FILETIME);
SALTROVE_SAME_FIELD(FILETIME, dwLowDateTime);
SALTROVE_SAME_FIELD(FILETIME, dwHighDateTime);
SALTROVE_SAME_SIZE(WIN32_FIND_DATAW);
SALTROVE_SAME_FIELD(WIN32_FIND_DATAW, dwFileAttributes);
SALTROVE_SAME_FIELD(WIN32_FIND_DATAW, ftCreationTime);
SALTROVE_SAME_FIELD(WIN32_FIND_DATAW, ftLastAccessTime);
SALTROVE_SAME_FIELD(WIN32_FIND_DATAW, ftLastWriteTime);
SALTROVE_SAME_FIELD(WIN32_FIND_DATAW, nFileSizeHigh);
SALTROVE_SAME_FIELD(WIN32_FIND_DATAW, nFileSizeLow);
SALTROVE_SAME_FIELD(WIN32_FIND_DATAW, dwReserved0);
SALTROVE_SAME_FIELD(WIN32_FIND_DATAW, dwReserved1);
SALTROVE_SAME_FIELD(WIN32_FIND_DATAW, cFileName);
SALTROVE_SAME_FIELD(WIN32_FIND_DATAW, cAlternateFileName);

SALTROVE_SAME_SIZE(LARGE_INTEGER);
SALTROVE_SAME_FIELD(LARGE_INTEGER, QuadPart);

::WIN32_FIND_DATAW* Native(WIN32_FIND_DATAW* entry) {
    return reinterpret_cast<::WIN32_FIND_DATAW*>(entry);
}

}  // namespace

HANDLE FindFirstFileW(const char16_t* pattern, WIN32_FIND_DATAW* entry) {
    return reinterpret_cast<HANDLE>(::FindFirstFileW(Native(pattern), Native(entry)));
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* entry) {
    return ::FindNextFileW(Native(search), Native(entry));
}

BOOL FindClose(HANDLE search) {
    return ::FindClose(Native(search));
}

DWORD GetFileAttributesW(const char16_t* path) {
    return ::GetFileAttributesW(Native(path));
}

DWORD GetFullPathNameW(const char16_t* path, DWORD size, char16_t* buffer, char16_t** filePart) {
    return ::GetFullPathNameW(Native(path), size, Native(buffer),
                              reinterpret_cast<wchar_t**>(filePart));
}

UINT GetWindowsDirectoryW(char16_t* buffer, UINT size) {
    return ::GetWindowsDirectoryW(Native(buffer), size);
}

HANDLE CreateFileW(const char16_t* path, DWORD access, DWORD shareMode,
                   const SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flags,
                   HANDLE templateFile) {
    return reinterpret_cast<HANDLE>(::CreateFileW(
        Native(path), access, shareMode,
        reinterpret_cast<::SECURITY_ATTRIBUTES*>(const_cast<SECURITY_ATTRIBUTES*>(security)),
        disposition, flags, Native(templateFile)));
}

BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* newPlace, DWORD method) {
    ::LARGE_INTEGER native;
    native.QuadPart = distance.QuadPart;
    return ::SetFilePointerEx(Native(file), native, reinterpret_cast<::LARGE_INTEGER*>(newPlace),
                              method);
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    return ::ReadFile(Native(file), buffer, size, Native(read),
                      reinterpret_cast<::OVERLAPPED*>(overlapped));
}

BOOL DeleteFileW(const char16_t* path) {
    return ::DeleteFileW(Native(path));
}

BOOL MoveFileExW(const char16_t* path, const char16_t* newPath, DWORD flags) {
    return ::MoveFileExW(Native(path), Native(newPath), flags);
}

DWORD GetLastError() {
    return ::GetLastError();
}

}  // namespace platform
