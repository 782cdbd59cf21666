#include "platform/processes.h"

#include "platform/simulated/calls/failure.h"
#include "platform/simulated/calls/handles.h"
#include "platform/simulated/machine/machine.h"
#include "platform/simulated/texts/command_line.h"
#include "platform/simulated/texts/sid.h"
#include "platform/wide_text.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace platform {

namespace {

using simulated::Fail;
using simulated::GetCurrentMachine;
using simulated::Machine;
using simulated::OpenHandle;
using simulated::OtherProcess;
using HandleKind = simulated::OpenHandle::Kind;

/// What stands for the running process.
const HANDLE kOwnProcess = INVALID_HANDLE_VALUE;

OpenHandle MakeObject(HandleKind kind, DWORD access = 0, DWORD processId = 0) {
    OpenHandle object;
    object.kind = kind;
    object.access = access;
    object.processId = processId;
    return object;
}

HANDLE HandOut(Machine& machine, OpenHandle opened) {
    const std::uintptr_t handle = machine.MakeHandle();
    machine.open.handles.emplace(handle, std::move(opened));
    return simulated::ToHandle<HANDLE>(handle);
}

/// What a handle of this kind stands for; null if it is none.
OpenHandle* LookUp(Machine& machine, HANDLE handle, HandleKind kind) {
    const auto found = machine.open.handles.find(simulated::ToNumber(handle));
    if (found != machine.open.handles.end() && found->second.kind == kind)
        return &found->second;
    ++machine.badHandles;
    machine.lastError = ERROR_INVALID_HANDLE;
    return nullptr;
}

const OtherProcess* FindProcess(const Machine& machine, DWORD id) {
    const auto found = std::find_if(machine.processes.begin(), machine.processes.end(),
                                    [&](const OtherProcess& other) { return other.id == id; });
    return found == machine.processes.end() ? nullptr : &*found;
}

/// Delivers the next process of a snapshot.
BOOL Deliver(Machine& machine, OpenHandle& snapshot, PROCESSENTRY32W* entry) {
    if (entry->dwSize != sizeof(PROCESSENTRY32W))
        return Fail(machine, ERROR_INVALID_PARAMETER);
    if (snapshot.next >= machine.processes.size())
        return Fail(machine, ERROR_NO_MORE_FILES);
    const OtherProcess& process = machine.processes[snapshot.next++];
    entry->th32ProcessID = process.id;
    const std::u16string_view name = GetFileName(process.imagePath).substr(0, MAX_PATH - 1);
    *std::copy(name.begin(), name.end(), entry->szExeFile) = u'\0';
    return 1;
}

/// Whose session a created process runs in.
enum class SessionOf { Token, Caller };

/// How many of the arguments that may be null, and of the fields of the record that may be 0, are
/// given at the creation of a process. Its size and its flags do not count.
std::uint64_t CountGiven(std::initializer_list<const void*> arguments,
                         const STARTUPINFOW& startupInfo) {
    const std::initializer_list<const void*> pointers = {
        startupInfo.lpReserved,  startupInfo.lpDesktop, startupInfo.lpTitle,
        startupInfo.lpReserved2, startupInfo.hStdInput, startupInfo.hStdOutput,
        startupInfo.hStdError};
    const std::initializer_list<DWORD> numbers = {startupInfo.dwX,
                                                  startupInfo.dwY,
                                                  startupInfo.dwXSize,
                                                  startupInfo.dwYSize,
                                                  startupInfo.dwXCountChars,
                                                  startupInfo.dwYCountChars,
                                                  startupInfo.dwFillAttribute,
                                                  startupInfo.wShowWindow,
                                                  startupInfo.cbReserved2};
    const auto count = [](const auto& list) {
        return std::count_if(list.begin(), list.end(),
                             [](auto given) { return given != decltype(given){}; });
    };
    return static_cast<std::uint64_t>(count(arguments) + count(pointers) + count(numbers));
}

/// Creates the process if its program is the running one, which is all that the machine can run.
BOOL CreateUnderToken(Machine& machine, HANDLE token, const char16_t* commandLine,
                      const STARTUPINFOW* startupInfo, PROCESS_INFORMATION* information,
                      SessionOf sessionOf) {
    // The call that uses the token's account alone copies it.
    const DWORD needed =
        TOKEN_ASSIGN_PRIMARY | TOKEN_QUERY | (sessionOf == SessionOf::Caller ? TOKEN_DUPLICATE : 0);
    const OpenHandle* opened = LookUp(machine, token, HandleKind::Token);
    if (opened == nullptr)
        return 0;
    if ((opened->access & needed) != needed)
        return Fail(machine, ERROR_ACCESS_DENIED);
    if (startupInfo->cb != sizeof(STARTUPINFOW))
        return Fail(machine, ERROR_INVALID_PARAMETER);
    const std::u16string program = simulated::SplitCommandLine(commandLine).front();
    if (simulated::FoldCase(program) != simulated::FoldCase(machine.process.module))
        return Fail(machine, ERROR_FILE_NOT_FOUND);
    const std::size_t earlier = machine.startedProcesses.size();
    // Of two runs of one program the later one has the higher id, and no id is given twice.
    const DWORD id = earlier == 0 ? machine.process.id + 1 : machine.startedProcesses.back().id + 1;
    const DWORD session = sessionOf == SessionOf::Token ? opened->session : machine.process.session;
    machine.startedProcesses.push_back({id, session, opened->account, commandLine});
    information->hProcess = HandOut(machine, MakeObject(HandleKind::Process, 0, id));
    information->hThread = HandOut(machine, MakeObject(HandleKind::Thread, 0, id));
    information->dwProcessId = id;
    return 1;
}

}  // namespace

BOOL CloseHandle(HANDLE handle) {
    Machine& machine = GetCurrentMachine();
    const auto opened = machine.open.handles.find(simulated::ToNumber(handle));
    if (opened == machine.open.handles.end()) {
        ++machine.badHandles;
        return Fail(machine, ERROR_INVALID_HANDLE);
    }
    const OpenHandle closed = std::move(opened->second);
    machine.open.handles.erase(opened);
    const auto kind = static_cast<std::uint64_t>(closed.kind);
    const auto fault =
        machine.BeginCall("CloseHandle", closed.account, {kind, closed.access, closed.processId});
    return fault ? 0 : 1;
}

HANDLE GetCurrentProcess() {
    GetCurrentMachine().BeginCall("GetCurrentProcess");
    return kOwnProcess;
}

DWORD GetCurrentProcessId() {
    Machine& machine = GetCurrentMachine();
    machine.BeginCall("GetCurrentProcessId");
    return machine.process.id;
}

HANDLE OpenProcess(DWORD access, BOOL inheritHandle, DWORD processId) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginCall("OpenProcess", {},
                          {access, static_cast<std::uint64_t>(inheritHandle), processId}))
        return nullptr;
    if (FindProcess(machine, processId) == nullptr) {
        machine.lastError = ERROR_INVALID_PARAMETER;
        return nullptr;
    }
    return HandOut(machine, MakeObject(HandleKind::Process, access, processId));
}

BOOL ProcessIdToSessionId(DWORD processId, DWORD* sessionId) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginCall("ProcessIdToSessionId", {}, {processId}))
        return 0;
    const OtherProcess* other = FindProcess(machine, processId);
    if (processId != machine.process.id && other == nullptr)
        return Fail(machine, ERROR_INVALID_PARAMETER);
    *sessionId = processId == machine.process.id ? machine.process.session : other->session;
    return 1;
}

BOOL QueryFullProcessImageNameW(HANDLE process, DWORD flags, char16_t* path, DWORD* size) {
    Machine& machine = GetCurrentMachine();
    const OpenHandle* opened = LookUp(machine, process, HandleKind::Process);
    if (opened == nullptr)
        return 0;
    if (machine.BeginCall("QueryFullProcessImageNameW", {}, {flags, *size}))
        return 0;
    if ((opened->access & PROCESS_QUERY_INFORMATION) == 0)
        return Fail(machine, ERROR_ACCESS_DENIED);
    const OtherProcess* other = FindProcess(machine, opened->processId);
    if (other == nullptr || other->imagePath.size() >= *size)
        return Fail(machine, ERROR_INSUFFICIENT_BUFFER);
    *std::copy(other->imagePath.begin(), other->imagePath.end(), path) = u'\0';
    *size = static_cast<DWORD>(other->imagePath.size());
    return 1;
}

HANDLE CreateToolhelp32Snapshot(DWORD flags, DWORD processId) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginCall("CreateToolhelp32Snapshot", {}, {flags, processId}))
        return INVALID_HANDLE_VALUE;
    return HandOut(machine, MakeObject(HandleKind::Snapshot));
}

BOOL Process32FirstW(HANDLE snapshot, PROCESSENTRY32W* entry) {
    Machine& machine = GetCurrentMachine();
    OpenHandle* opened = LookUp(machine, snapshot, HandleKind::Snapshot);
    if (opened == nullptr || machine.BeginCall("Process32FirstW"))
        return 0;
    opened->next = 0;
    return Deliver(machine, *opened, entry);
}

BOOL Process32NextW(HANDLE snapshot, PROCESSENTRY32W* entry) {
    Machine& machine = GetCurrentMachine();
    OpenHandle* opened = LookUp(machine, snapshot, HandleKind::Snapshot);
    if (opened == nullptr || machine.BeginCall("Process32NextW"))
        return 0;
    return Deliver(machine, *opened, entry);
}

BOOL OpenProcessToken(HANDLE process, DWORD access, HANDLE* token) {
    Machine& machine = GetCurrentMachine();
    OpenHandle opened = MakeObject(HandleKind::Token, access);
    if (process == kOwnProcess) {
        opened.account = machine.process.account;
        opened.session = machine.process.session;
    } else {
        const OpenHandle* handle = LookUp(machine, process, HandleKind::Process);
        const OtherProcess* other =
            handle == nullptr ? nullptr : FindProcess(machine, handle->processId);
        if (other == nullptr)
            return 0;
        if ((handle->access & PROCESS_QUERY_INFORMATION) == 0)
            return Fail(machine, ERROR_ACCESS_DENIED);
        opened.account = other->account;
        opened.session = other->session;
    }
    if (machine.BeginCall("OpenProcessToken", opened.account, {access}))
        return 0;
    *token = HandOut(machine, std::move(opened));
    return 1;
}

BOOL GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS informationClass, void* information,
                         DWORD length, DWORD* returnLength) {
    Machine& machine = GetCurrentMachine();
    const OpenHandle* opened = LookUp(machine, token, HandleKind::Token);
    if (opened == nullptr)
        return 0;
    if (machine.BeginCall("GetTokenInformation", {},
                          {static_cast<std::uint64_t>(informationClass), length}))
        return 0;
    if ((opened->access & TOKEN_QUERY) == 0)
        return Fail(machine, ERROR_ACCESS_DENIED);
    const std::vector<BYTE> sid = simulated::MakeSidFromText(opened->account);
    *returnLength = static_cast<DWORD>(sizeof(TOKEN_USER) + sid.size());
    if (length < *returnLength)
        return Fail(machine, ERROR_INSUFFICIENT_BUFFER);
    // The SID lies right behind the record that points to it.
    TOKEN_USER user{};
    user.User.Sid = static_cast<std::byte*>(information) + sizeof(TOKEN_USER);
    std::memcpy(information, &user, sizeof(user));
    std::memcpy(user.User.Sid, sid.data(), sid.size());
    return 1;
}

BOOL DuplicateTokenEx(HANDLE token, DWORD access, const SECURITY_ATTRIBUTES* attributes,
                      SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, HANDLE* newToken) {
    Machine& machine = GetCurrentMachine();
    const OpenHandle* opened = LookUp(machine, token, HandleKind::Token);
    if (opened == nullptr)
        return 0;
    if (machine.BeginCall("DuplicateTokenEx", opened->account,
                          {access, static_cast<std::uint64_t>(level),
                           static_cast<std::uint64_t>(type),
                           static_cast<std::uint64_t>(attributes == nullptr ? 0 : 1)}))
        return 0;
    if ((opened->access & TOKEN_DUPLICATE) == 0)
        return Fail(machine, ERROR_ACCESS_DENIED);
    OpenHandle copy = *opened;
    copy.access = access;
    *newToken = HandOut(machine, std::move(copy));
    return 1;
}

BOOL CreateProcessWithTokenW(HANDLE token, DWORD logonFlags, const char16_t* applicationName,
                             char16_t* commandLine, DWORD creationFlags, void* environment,
                             const char16_t* currentDirectory, STARTUPINFOW* startupInfo,
                             PROCESS_INFORMATION* information) {
    Machine& machine = GetCurrentMachine();
    const std::uint64_t given =
        CountGiven({applicationName, environment, currentDirectory}, *startupInfo);
    if (machine.BeginCall("CreateProcessWithTokenW", commandLine,
                          {logonFlags, creationFlags, startupInfo->dwFlags, given}))
        return 0;
    // It uses the token's account alone.
    return CreateUnderToken(machine, token, commandLine, startupInfo, information,
                            SessionOf::Caller);
}

BOOL CreateProcessAsUserW(HANDLE token, const char16_t* applicationName, char16_t* commandLine,
                          const SECURITY_ATTRIBUTES* processAttributes,
                          const SECURITY_ATTRIBUTES* threadAttributes, BOOL inheritHandles,
                          DWORD creationFlags, void* environment, const char16_t* currentDirectory,
                          STARTUPINFOW* startupInfo, PROCESS_INFORMATION* information) {
    Machine& machine = GetCurrentMachine();
    const std::uint64_t given = CountGiven(
        {applicationName, processAttributes, threadAttributes, environment, currentDirectory},
        *startupInfo);
    if (machine.BeginCall("CreateProcessAsUserW", commandLine,
                          {static_cast<std::uint64_t>(inheritHandles), creationFlags,
                           startupInfo->dwFlags, given}))
        return 0;
    return CreateUnderToken(machine, token, commandLine, startupInfo, information,
                            SessionOf::Token);
}

}  // namespace platform
