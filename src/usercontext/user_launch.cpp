#include "usercontext/user_launch.h"

#include "log/run_log.h"
#include "platform/modules.h"
#include "platform/process_closers.h"
#include "platform/wide_text.h"
#include "usercontext/shell_resolution.h"

#include <algorithm>
#include <array>
#include <optional>

namespace saltrove {

namespace {

using platform::DWORD;
using platform::Handle;
using platform::HANDLE;

using CommandBuffer = std::array<char16_t, platform::MAX_PATH>;

/// The token of the running process; null if it cannot be had.
Handle OpenOwnToken() {
    HANDLE token = nullptr;
    if (platform::OpenProcessToken(platform::GetCurrentProcess(), platform::TOKEN_READ, &token) ==
        0)
        return nullptr;
    return Handle(token);
}

/// The TOKEN_USER of a token, in a block of the heap; null if it cannot be had.
platform::HeapBlock ReadTokenUser(const Handle& token) {
    DWORD size = 0;
    // Without a buffer the call has to fail, and tells the size.
    if (platform::GetTokenInformation(token.get(), platform::TokenUser, nullptr, 0, &size) != 0)
        return nullptr;
    platform::HeapBlock block(
        platform::HeapAlloc(platform::GetProcessHeap(), platform::HEAP_ZERO_MEMORY, size));
    if (!block || platform::GetTokenInformation(token.get(), platform::TokenUser, block.get(), size,
                                                &size) == 0)
        return nullptr;
    return block;
}

platform::Sid MakeLocalSystemSid() {
    platform::PSID sid = nullptr;
    if (platform::AllocateAndInitializeSid(&platform::SECURITY_NT_AUTHORITY, 1,
                                           platform::SECURITY_LOCAL_SYSTEM_RID, 0, 0, 0, 0, 0, 0, 0,
                                           &sid) == 0)
        return nullptr;
    return platform::Sid(sid);
}

/// The session of the running process, 0 if it cannot be read.
DWORD GetOwnSession() {
    DWORD session = 0;
    const bool isRead =
        platform::ProcessIdToSessionId(platform::GetCurrentProcessId(), &session) != 0;
    return isRead ? session : 0;
}

/// Creates the process. Session 0, that of services, has a call of its own for it.
bool CreateUserProcess(HANDLE userToken, CommandBuffer& commandBuffer,
                       platform::PROCESS_INFORMATION& processInfo) {
    platform::STARTUPINFOW startupInfo{};
    startupInfo.cb = sizeof(startupInfo);
    if (GetOwnSession() == 0)
        return platform::CreateProcessAsUserW(userToken, nullptr, commandBuffer.data(), nullptr,
                                              nullptr, 0, platform::CREATE_NO_WINDOW, nullptr,
                                              nullptr, &startupInfo, &processInfo) != 0;
    WriteRunLog(u"CommandLine to run in user context: " + platform::ReadBuffer(commandBuffer));
    return platform::CreateProcessWithTokenW(userToken, 0, nullptr, commandBuffer.data(),
                                             platform::CREATE_NO_WINDOW, nullptr, nullptr,
                                             &startupInfo, &processInfo) != 0;
}

/// Copies the shell's token and creates the process under it.
bool LaunchUnderTokenOf(DWORD shellProcessId, CommandBuffer& commandBuffer) {
    constexpr DWORD kShellTokenAccess =
        platform::TOKEN_ASSIGN_PRIMARY | platform::TOKEN_DUPLICATE | platform::TOKEN_QUERY;
    constexpr DWORD kUserTokenAccess =
        kShellTokenAccess | platform::TOKEN_ADJUST_DEFAULT | platform::TOKEN_ADJUST_SESSIONID;

    // Closed from the last to the first.
    Handle userToken;
    Handle processThread;
    Handle process;
    const Handle shellProcess(
        platform::OpenProcess(platform::PROCESS_QUERY_INFORMATION, 0, shellProcessId));
    HANDLE opened = nullptr;
    if (!shellProcess ||
        platform::OpenProcessToken(shellProcess.get(), kShellTokenAccess, &opened) == 0)
        return false;
    const Handle shellToken(opened);
    WriteRunLog(u"Inside OpenProcessToken");
    HANDLE copied = nullptr;
    if (platform::DuplicateTokenEx(shellToken.get(), kUserTokenAccess, nullptr,
                                   platform::SecurityImpersonation, platform::TokenPrimary,
                                   &copied) == 0)
        return false;
    userToken.reset(copied);
    platform::PROCESS_INFORMATION processInfo{};
    const bool isCreated = CreateUserProcess(userToken.get(), commandBuffer, processInfo);
    process.reset(processInfo.hProcess);
    processThread.reset(processInfo.hThread);
    return isCreated;
}

}  // namespace

bool LaunchProcessInUserContext(const std::u16string& commandLine) {
    WriteRunLog(u"Inside LaunchProcessInUserContext");
    const std::optional<std::u16string> shellPath = GetShellPath();
    if (!shellPath)
        return false;
    const DWORD shellProcessId = FindShellProcessId(*shellPath);
    CommandBuffer commandBuffer{};
    if (shellProcessId == 0 || commandLine.size() >= commandBuffer.size())
        return false;
    std::copy(commandLine.begin(), commandLine.end(), commandBuffer.begin());
    return LaunchUnderTokenOf(shellProcessId, commandBuffer);
}

bool IsRunningInSystemContext() {
    const Handle token = OpenOwnToken();
    if (!token)
        return false;
    const platform::HeapBlock block = ReadTokenUser(token);
    if (!block)
        return false;
    const platform::Sid localSystem = MakeLocalSystemSid();
    const auto* tokenUser = static_cast<const platform::TOKEN_USER*>(block.get());
    return localSystem && platform::EqualSid(localSystem.get(), tokenUser->User.Sid) != 0;
}

std::u16string BuildRelaunchCommandLine(const std::u16string& modulePath,
                                        const std::u16string& productCode) {
    const bool needsQuotes = modulePath.find(u' ') != std::u16string::npos;
    const std::u16string quote(needsQuotes ? 1 : 0, u'"');
    return quote + modulePath + quote + u" " + productCode + u" " +
           std::u16string(kUserContextArgument);
}

std::u16string GetModulePath() {
    std::array<char16_t, platform::MAX_PATH> path{};
    const DWORD length = platform::GetModuleFileNameW(nullptr, path.data(), platform::MAX_PATH);
    // A path that had to be cut is none: it would name another program.
    return length == platform::MAX_PATH ? std::u16string() : platform::ReadBuffer(path);
}

}  // namespace saltrove
