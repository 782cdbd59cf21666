#include "platform/processes.h"

#include "platform/windows/native.h"

#include <sddl.h>
#include <tlhelp32.h>

namespace platform {

namespace {

SALTROVE_SAME_SIZE(PROCESSENTRY32W);
SALTROVE_SAME_FIELD(PROCESSENTRY32W, dwSize);
SALTROVE_SAME_FIELD(PROCESSENTRY32W, cntUsage);
SALTROVE_SAME_FIELD(PROCESSENTRY32W, th32ProcessID);
SALTROVE_SAME_FIELD(PROCESSENTRY32W, th32DefaultHeapID);
SALTROVE_SAME_FIELD(PROCESSENTRY32W, th32ModuleID);
SALTROVE_SAME_FIELD(PROCESSENTRY32W, cntThreads);
SALTROVE_SAME_FIELD(PROCESSENTRY32W, th32ParentProcessID);
SALTROVE_SAME_FIELD(PROCESSENTRY32W, pcPriClassBase);
SALTROVE_SAME_FIELD(PROCESSENTRY32W, dwFlags);
SALTROVE_SAME_FIELD(PROCESSENTRY32W, szExeFile);
SALTROVE_SAME_SIZE(STARTUPINFOW);
SALTROVE_SAME_FIELD(STARTUPINFOW, cb);
SALTROVE_SAME_FIELD(STARTUPINFOW, lpReserved);
SALTROVE_SAME_FIELD(STARTUPINFOW, lpDesktop);
SALTROVE_SAME_FIELD(STARTUPINFOW, lpTitle);
SALTROVE_SAME_FIELD(STARTUPINFOW, dwX);
SALTROVE_SAME_FIELD(STARTUPINFOW, dwY);
SALTROVE_SAME_FIELD(STARTUPINFOW, dwXSize);
SALTROVE_SAME_FIELD(STARTUPINFOW, dwYSize);
SALTROVE_SAME_FIELD(STARTUPINFOW, dwXCountChars);
SALTROVE_SAME_FIELD(STARTUPINFOW, dwYCountChars);
SALTROVE_SAME_FIELD(STARTUPINFOW, dwFillAttribute);
SALTROVE_SAME_FIELD(STARTUPINFOW, dwFlags);
SALTROVE_SAME_FIELD(STARTUPINFOW, wShowWindow);
SALTROVE_SAME_FIELD(STARTUPINFOW, cbReserved2);
SALTROVE_SAME_FIELD(STARTUPINFOW, lpReserved2);
SALTROVE_SAME_FIELD(STARTUPINFOW, hStdInput);
SALTROVE_SAME_FIELD(STARTUPINFOW, hStdOutput);
SALTROVE_SAME_FIELD(STARTUPINFOW, hStdError);
SALTROVE_SAME_SIZE(PROCESS_INFORMATION);
SALTROVE_SAME_FIELD(PROCESS_INFORMATION, hProcess);
SALTROVE_SAME_FIELD(PROCESS_INFORMATION, hThread);
SALTROVE_SAME_FIELD(PROCESS_INFORMATION, dwProcessId);
SALTROVE_SAME_FIELD(PROCESS_INFORMATION, dwThreadId);
SALTROVE_SAME_SIZE(SID_IDENTIFIER_AUTHORITY);
SALTROVE_SAME_FIELD(SID_IDENTIFIER_AUTHORITY, Value);
SALTROVE_SAME_SIZE(SID_AND_ATTRIBUTES);
SALTROVE_SAME_FIELD(SID_AND_ATTRIBUTES, Sid);
SALTROVE_SAME_FIELD(SID_AND_ATTRIBUTES, Attributes);
SALTROVE_SAME_SIZE(TOKEN_USER);
SALTROVE_SAME_FIELD(TOKEN_USER, User);

::PROCESSENTRY32W* Native(PROCESSENTRY32W* entry) {
    return reinterpret_cast<::PROCESSENTRY32W*>(entry);
}
::SECURITY_ATTRIBUTES* Native(const SECURITY_ATTRIBUTES* attributes) {
    return reinterpret_cast<::SECURITY_ATTRIBUTES*>(const_cast<SECURITY_ATTRIBUTES*>(attributes));
}
::STARTUPINFOW* Native(STARTUPINFOW* startupInfo) {
    return reinterpret_cast<::STARTUPINFOW*>(startupInfo);
}
::PROCESS_INFORMATION* Native(PROCESS_INFORMATION* information) {
    return reinterpret_cast<::PROCESS_INFORMATION*>(information);
}

}  // namespace

BOOL CloseHandle(HANDLE handle) {
    return ::CloseHandle(Native(handle));
}

HANDLE GetCurrentProcess() {
    return reinterpret_cast<HANDLE>(::GetCurrentProcess());
}

DWORD GetCurrentProcessId() {
    return ::GetCurrentProcessId();
}

HANDLE OpenProcess(DWORD access, BOOL inheritHandle, DWORD processId) {
    return reinterpret_cast<HANDLE>(::OpenProcess(access, inheritHandle, processId));
}

BOOL ProcessIdToSessionId(DWORD processId, DWORD* sessionId) {
    return ::ProcessIdToSessionId(processId, Native(sessionId));
}

BOOL QueryFullProcessImageNameW(HANDLE process, DWORD flags, char16_t* path, DWORD* size) {
    return ::QueryFullProcessImageNameW(Native(process), flags, Native(path), Native(size));
}

HANDLE CreateToolhelp32Snapshot(DWORD flags, DWORD processId) {
    return reinterpret_cast<HANDLE>(::CreateToolhelp32Snapshot(flags, processId));
}

BOOL Process32FirstW(HANDLE snapshot, PROCESSENTRY32W* entry) {
    return ::Process32FirstW(Native(snapshot), Native(entry));
}

BOOL Process32NextW(HANDLE snapshot, PROCESSENTRY32W* entry) {
    return ::Process32NextW(Native(snapshot), Native(entry));
}

BOOL OpenProcessToken(HANDLE process, DWORD access, HANDLE* token) {
    return ::OpenProcessToken(Native(process), access, Native(token));
}

BOOL GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS informationClass, void* information,
                         DWORD length, DWORD* returnLength) {
    return ::GetTokenInformation(Native(token),
                                 static_cast<::TOKEN_INFORMATION_CLASS>(informationClass),
                                 information, length, Native(returnLength));
}

BOOL AllocateAndInitializeSid(const SID_IDENTIFIER_AUTHORITY* authority, BYTE subAuthorityCount,
                              DWORD subAuthority0, DWORD subAuthority1, DWORD subAuthority2,
                              DWORD subAuthority3, DWORD subAuthority4, DWORD subAuthority5,
                              DWORD subAuthority6, DWORD subAuthority7, PSID* sid) {
    return ::AllocateAndInitializeSid(reinterpret_cast<::SID_IDENTIFIER_AUTHORITY*>(
                                          const_cast<SID_IDENTIFIER_AUTHORITY*>(authority)),
                                      subAuthorityCount, subAuthority0, subAuthority1,
                                      subAuthority2, subAuthority3, subAuthority4, subAuthority5,
                                      subAuthority6, subAuthority7, sid);
}

BOOL EqualSid(PSID a, PSID b) {
    return ::EqualSid(a, b);
}

void* FreeSid(PSID sid) {
    return ::FreeSid(sid);
}

BOOL ConvertSidToStringSidW(PSID sid, char16_t** text) {
    return ::ConvertSidToStringSidW(sid, reinterpret_cast<wchar_t**>(text));
}

void* LocalFree(void* block) {
    return ::LocalFree(block);
}

BOOL DuplicateTokenEx(HANDLE token, DWORD access, const SECURITY_ATTRIBUTES* attributes,
                      SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, HANDLE* newToken) {
    return ::DuplicateTokenEx(Native(token), access, Native(attributes),
                              static_cast<::SECURITY_IMPERSONATION_LEVEL>(level),
                              static_cast<::TOKEN_TYPE>(type), Native(newToken));
}

BOOL CreateProcessWithTokenW(HANDLE token, DWORD logonFlags, const char16_t* applicationName,
                             char16_t* commandLine, DWORD creationFlags, void* environment,
                             const char16_t* currentDirectory, STARTUPINFOW* startupInfo,
                             PROCESS_INFORMATION* information) {
    return ::CreateProcessWithTokenW(
        Native(token), logonFlags, Native(applicationName), Native(commandLine), creationFlags,
        environment, Native(currentDirectory), Native(startupInfo), Native(information));
}

BOOL CreateProcessAsUserW(HANDLE token, const char16_t* applicationName, char16_t* commandLine,
                          const SECURITY_ATTRIBUTES* processAttributes,
                          const SECURITY_ATTRIBUTES* threadAttributes, BOOL inheritHandles,
                          DWORD creationFlags, void* environment, const char16_t* currentDirectory,
                          STARTUPINFOW* startupInfo, PROCESS_INFORMATION* information) {
    return ::CreateProcessAsUserW(
        Native(token), Native(applicationName), Native(commandLine), Native(processAttributes),
        Native(threadAttributes), inheritHandles, creationFlags, environment,
        Native(currentDirectory), Native(startupInfo), Native(information));
}

HANDLE GetProcessHeap() {
    return reinterpret_cast<HANDLE>(::GetProcessHeap());
}

void* HeapAlloc(HANDLE heap, DWORD flags, std::size_t size) {
    return ::HeapAlloc(Native(heap), flags, size);
}

BOOL HeapFree(HANDLE heap, DWORD flags, void* block) {
    return ::HeapFree(Native(heap), flags, block);
}

}  // namespace platform
