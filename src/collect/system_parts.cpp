#include "collect/system_parts.h"

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/modules.h"
#include "platform/process_closers.h"
#include "platform/wide_text.h"
#include "usercontext/shell_resolution.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>

namespace collect {

namespace {

using platform::DWORD;
using platform::Handle;
using platform::HANDLE;

struct ModuleCloser {
    void operator()(platform::HMODULE module) const {
        platform::FreeLibrary(module);
    }
};

using Module = std::unique_ptr<std::remove_pointer_t<platform::HMODULE>, ModuleCloser>;

/// The SID of a process's account as a text; nothing, and the error in `error`, if it cannot be
/// had.
std::optional<std::u16string> ReadAccount(HANDLE process, DWORD& error) {
    HANDLE opened = nullptr;
    if (platform::OpenProcessToken(process, platform::TOKEN_QUERY, &opened) == 0) {
        error = platform::GetLastError();
        return std::nullopt;
    }
    const Handle token(opened);
    // The largest SID has 68 bytes.
    alignas(platform::TOKEN_USER) std::array<std::byte, 256> user{};
    DWORD size = 0;
    char16_t* text = nullptr;
    if (platform::GetTokenInformation(token.get(), platform::TokenUser, user.data(), user.size(),
                                      &size) == 0 ||
        platform::ConvertSidToStringSidW(
            reinterpret_cast<const platform::TOKEN_USER*>(user.data())->User.Sid, &text) == 0) {
        error = platform::GetLastError();
        return std::nullopt;
    }
    return std::u16string(platform::LocalText(text).get());
}

/// The session of a process; 0, as a run takes it, if it cannot be had.
DWORD ReadSession(DWORD processId) {
    DWORD session = 0;
    return platform::ProcessIdToSessionId(processId, &session) != 0 ? session : 0;
}

void CollectOwnProcess(Collected& collected) {
    DWORD error = 0;
    platform::simulated::Process& process = collected.machine.process;
    if (auto account = ReadAccount(platform::GetCurrentProcess(), error))
        process.account = *std::move(account);
    else
        NoteGap(collected, "the account", {}, error);
    process.session = ReadSession(platform::GetCurrentProcessId());
}

/// The time to the millisecond, and how far local time is ahead of UTC.
void CollectClock(platform::simulated::Clock& clock) {
    platform::SYSTEMTIME now{};
    platform::GetLocalTime(&now);
    const std::chrono::seconds utc(platform::_time64(nullptr));
    const std::chrono::year_month_day date(
        std::chrono::year(now.wYear), std::chrono::month(now.wMonth), std::chrono::day(now.wDay));
    const auto local = std::chrono::sys_days(date) + std::chrono::hours(now.wHour) +
                       std::chrono::minutes(now.wMinute) + std::chrono::seconds(now.wSecond) +
                       std::chrono::milliseconds(now.wMilliseconds);
    // Some time may have passed between the two readings.
    clock.offset = std::chrono::round<std::chrono::minutes>(local.time_since_epoch() - utc);
    clock.utc = local - clock.offset;
}

std::u16string ReadWindowsDirectory() {
    std::array<char16_t, platform::MAX_PATH> path{};
    const platform::UINT length = platform::GetWindowsDirectoryW(path.data(), path.size());
    return length < path.size() ? platform::ReadBuffer(path) : std::u16string();
}

void CollectMissingExports(platform::simulated::Machine& machine) {
    for (const auto& known : platform::simulated::GetKnownExports()) {
        const std::u16string name(known.module);
        if (machine.IsMissing(name, {}))
            continue;
        const Module module(platform::LoadLibraryW(name.c_str()));
        const std::string function(known.function);
        if (!module)
            machine.missing.push_back({name, {}});
        else if (platform::GetProcAddress(module.get(), function.c_str()) == nullptr)
            machine.missing.push_back({name, function});
    }
}

void CollectSessions(Collected& collected) {
    platform::WTS_SESSION_INFOW* array = nullptr;
    DWORD count = 0;
    if (platform::WTSEnumerateSessionsW(platform::WTS_CURRENT_SERVER_HANDLE, 0, 1, &array,
                                        &count) == 0) {
        NoteGap(collected, "the sessions", {}, platform::GetLastError());
        return;
    }
    const platform::SessionList sessions(array);
    for (const platform::WTS_SESSION_INFOW& session : std::span(array, count))
        collected.machine.sessions.push_back(
            {session.SessionId, session.State == platform::WTSActive});
}

/// The path of a process's program; empty, and the error in `error`, if it cannot be had.
std::u16string ReadImagePath(const Handle& process, DWORD& error) {
    std::array<char16_t, platform::MAX_PATH> path{};
    DWORD size = path.size();
    if (!process || platform::QueryFullProcessImageNameW(process.get(), 0, path.data(), &size) == 0)
        error = platform::GetLastError();
    return platform::ReadBuffer(path);
}

/// Takes the process if it runs the shell. One that cannot be looked at may be it if its program
/// has the shell's name.
void TakeShellProcess(Collected& collected, const platform::PROCESSENTRY32W& entry,
                      std::span<const std::optional<std::u16string>> shellPaths) {
    const Handle process(
        platform::OpenProcess(platform::PROCESS_QUERY_INFORMATION, 0, entry.th32ProcessID));
    DWORD error = 0;
    const std::u16string imagePath = ReadImagePath(process, error);
    const std::u16string fileName = platform::ReadBuffer(entry.szExeFile);
    const auto mayBe = [&](const std::optional<std::u16string>& shellPath) {
        if (!shellPath)
            return false;
        return imagePath.empty()
                   ? platform::EqualsIgnoringAsciiCase(fileName, platform::GetFileName(*shellPath))
                   : platform::EqualsIgnoringAsciiCase(imagePath, *shellPath);
    };
    if (std::none_of(shellPaths.begin(), shellPaths.end(), mayBe))
        return;
    std::optional<std::u16string> account;
    if (!imagePath.empty())
        account = ReadAccount(process.get(), error);
    if (account)
        collected.machine.processes.push_back({entry.th32ProcessID,
                                               ReadSession(entry.th32ProcessID),
                                               *std::move(account), imagePath});
    else
        NoteGap(collected, "the process " + std::to_string(entry.th32ProcessID), fileName, error);
}

void CollectShellProcesses(Collected& collected) {
    // A run is LocalSystem's as a rule, which may have another shell than whoever collects.
    const std::optional<std::u16string> shellPaths[] = {
        saltrove::GetShellPath(),
        saltrove::GetShellPath(u"HKEY_USERS\\" +
                               std::u16string(platform::simulated::kMachineAccount))};
    const HANDLE opened = platform::CreateToolhelp32Snapshot(platform::TH32CS_SNAPPROCESS, 0);
    if (opened == platform::INVALID_HANDLE_VALUE) {
        NoteGap(collected, "the processes", {}, platform::GetLastError());
        return;
    }
    const Handle snapshot(opened);
    platform::PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (platform::BOOL isThere = platform::Process32FirstW(snapshot.get(), &entry); isThere != 0;
         isThere = platform::Process32NextW(snapshot.get(), &entry))
        TakeShellProcess(collected, entry, shellPaths);
}

}  // namespace

void CollectSystem(Collected& collected) {
    CollectOwnProcess(collected);
    CollectClock(collected.machine.clock);
    collected.machine.windowsDirectory = ReadWindowsDirectory();
    CollectMissingExports(collected.machine);
    CollectSessions(collected);
    CollectShellProcesses(collected);
}

}  // namespace collect
