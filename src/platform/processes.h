#pragma once

#include "platform/types.h"

#include <cstddef>

/// The calls of Windows about processes, their tokens and their creation, as far as they are used.
/// A call that gives a BOOL sets the last error when it gives 0.
namespace platform {

inline constexpr DWORD PROCESS_QUERY_INFORMATION = 0x400;
inline constexpr DWORD TH32CS_SNAPPROCESS = 2;
inline constexpr DWORD CREATE_NO_WINDOW = 0x8000000;

inline constexpr DWORD TOKEN_ASSIGN_PRIMARY = 0x1;
inline constexpr DWORD TOKEN_DUPLICATE = 0x2;
inline constexpr DWORD TOKEN_QUERY = 0x8;
inline constexpr DWORD TOKEN_ADJUST_DEFAULT = 0x80;
inline constexpr DWORD TOKEN_ADJUST_SESSIONID = 0x100;
inline constexpr DWORD TOKEN_READ = 0x20008;

enum TOKEN_INFORMATION_CLASS { TokenUser = 1 };
enum SECURITY_IMPERSONATION_LEVEL { SecurityImpersonation = 2 };
enum TOKEN_TYPE { TokenPrimary = 1 };

inline constexpr DWORD SECURITY_LOCAL_SYSTEM_RID = 18;
inline constexpr DWORD HEAP_ZERO_MEMORY = 8;

/// A security identifier, of which only the system knows the form.
using PSID = void*;

struct SID_IDENTIFIER_AUTHORITY {
    BYTE Value[6];
};

inline constexpr SID_IDENTIFIER_AUTHORITY SECURITY_NT_AUTHORITY = {{0, 0, 0, 0, 0, 5}};

struct SID_AND_ATTRIBUTES {
    PSID Sid;
    DWORD Attributes;
};

struct TOKEN_USER {
    SID_AND_ATTRIBUTES User;
};

struct PROCESSENTRY32W {
    DWORD dwSize;
    DWORD cntUsage;
    DWORD th32ProcessID;
    std::uintptr_t th32DefaultHeapID;
    DWORD th32ModuleID;
    DWORD cntThreads;
    DWORD th32ParentProcessID;
    std::int32_t pcPriClassBase;
    DWORD dwFlags;
    char16_t szExeFile[260];
};
static_assert(sizeof(PROCESSENTRY32W) == 568);

struct STARTUPINFOW {
    DWORD cb;
    char16_t* lpReserved;
    char16_t* lpDesktop;
    char16_t* lpTitle;
    DWORD dwX;
    DWORD dwY;
    DWORD dwXSize;
    DWORD dwYSize;
    DWORD dwXCountChars;
    DWORD dwYCountChars;
    DWORD dwFillAttribute;
    DWORD dwFlags;
    WORD wShowWindow;
    WORD cbReserved2;
    BYTE* lpReserved2;
    HANDLE hStdInput;
    HANDLE hStdOutput;
    HANDLE hStdError;
};
static_assert(sizeof(STARTUPINFOW) == 104);

struct PROCESS_INFORMATION {
    HANDLE hProcess;
    HANDLE hThread;
    DWORD dwProcessId;
    DWORD dwThreadId;
};

BOOL CloseHandle(HANDLE handle);

/// The running process: its handle, which is not to be closed, and its id.
[[nodiscard]] HANDLE GetCurrentProcess();
[[nodiscard]] DWORD GetCurrentProcessId();

/// Opens a process; null if that cannot be.
[[nodiscard]] HANDLE OpenProcess(DWORD access, BOOL inheritHandle, DWORD processId);

/// The session of a process.
[[nodiscard]] BOOL ProcessIdToSessionId(DWORD processId, DWORD* sessionId);

/// The path of a process's program. `size` is in characters, terminator included before the call.
BOOL QueryFullProcessImageNameW(HANDLE process, DWORD flags, char16_t* path, DWORD* size);

/// A picture of the running processes, to be closed; INVALID_HANDLE_VALUE if there is none.
[[nodiscard]] HANDLE CreateToolhelp32Snapshot(DWORD flags, DWORD processId);

/// The first and the next process of a snapshot; 0 behind the last. `dwSize` of the entry is set.
[[nodiscard]] BOOL Process32FirstW(HANDLE snapshot, PROCESSENTRY32W* entry);
[[nodiscard]] BOOL Process32NextW(HANDLE snapshot, PROCESSENTRY32W* entry);

/// Opens the token of a process.
[[nodiscard]] BOOL OpenProcessToken(HANDLE process, DWORD access, HANDLE* token);

/// Reads what a token says, of which TokenUser is a TOKEN_USER with the SID behind it.
/// `returnLength` is the size in bytes that is needed; a smaller buffer makes the call fail.
[[nodiscard]] BOOL GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS informationClass,
                                       void* information, DWORD length, DWORD* returnLength);

/// Makes a SID of up to eight parts, to be let go with FreeSid.
[[nodiscard]] BOOL AllocateAndInitializeSid(const SID_IDENTIFIER_AUTHORITY* authority,
                                            BYTE subAuthorityCount, DWORD subAuthority0,
                                            DWORD subAuthority1, DWORD subAuthority2,
                                            DWORD subAuthority3, DWORD subAuthority4,
                                            DWORD subAuthority5, DWORD subAuthority6,
                                            DWORD subAuthority7, PSID* sid);
[[nodiscard]] BOOL EqualSid(PSID a, PSID b);
void* FreeSid(PSID sid);

/// Gives a SID as a text, such as S-1-5-18, to be let go with LocalFree.
[[nodiscard]] BOOL ConvertSidToStringSidW(PSID sid, char16_t** text);
/// Null on success.
void* LocalFree(void* block);

/// A token like another, of the given type and level.
[[nodiscard]] BOOL DuplicateTokenEx(HANDLE token, DWORD access,
                                    const SECURITY_ATTRIBUTES* attributes,
                                    SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type,
                                    HANDLE* newToken);

/// Create a process under a token, the first in the session of the calling process, the second in
/// that of the token. `commandLine` may be written to. On success `information` holds two handles
/// to be closed; otherwise it is left as it was.
[[nodiscard]] BOOL CreateProcessWithTokenW(HANDLE token, DWORD logonFlags,
                                           const char16_t* applicationName, char16_t* commandLine,
                                           DWORD creationFlags, void* environment,
                                           const char16_t* currentDirectory,
                                           STARTUPINFOW* startupInfo,
                                           PROCESS_INFORMATION* information);
[[nodiscard]] BOOL CreateProcessAsUserW(HANDLE token, const char16_t* applicationName,
                                        char16_t* commandLine,
                                        const SECURITY_ATTRIBUTES* processAttributes,
                                        const SECURITY_ATTRIBUTES* threadAttributes,
                                        BOOL inheritHandles, DWORD creationFlags, void* environment,
                                        const char16_t* currentDirectory, STARTUPINFOW* startupInfo,
                                        PROCESS_INFORMATION* information);

/// The process's heap, and blocks of it.
[[nodiscard]] HANDLE GetProcessHeap();
[[nodiscard]] void* HeapAlloc(HANDLE heap, DWORD flags, std::size_t size);
BOOL HeapFree(HANDLE heap, DWORD flags, void* block);

}  // namespace platform
