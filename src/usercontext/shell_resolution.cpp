#include "usercontext/shell_resolution.h"

#include "platform/files.h"
#include "platform/modules.h"
#include "platform/process_closers.h"
#include "platform/registry_access.h"
#include "platform/wide_text.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <utility>

namespace saltrove {

namespace {

using platform::DWORD;

/// What no session has as its number.
constexpr DWORD kNoSession = 0xFFFFFFFF;

struct HiveName {
    std::u16string_view name;
    platform::HKEY key;
};

platform::HKEY FindHive(std::u16string_view name) {
    const HiveName hives[] = {
        {u"HKEY_CLASSES_ROOT", platform::HKEY_CLASSES_ROOT},
        {u"HKEY_CURRENT_USER", platform::HKEY_CURRENT_USER},
        {u"HKEY_LOCAL_MACHINE", platform::HKEY_LOCAL_MACHINE},
        {u"HKEY_USERS", platform::HKEY_USERS},
        {u"HKEY_CURRENT_CONFIG", platform::HKEY_CURRENT_CONFIG},
        {u"HKEY_DYN_DATA", platform::HKEY_DYN_DATA},
        {u"HKEY_PERFORMANCE_DATA", platform::HKEY_PERFORMANCE_DATA},
    };
    const auto* found = std::find_if(std::begin(hives), std::end(hives),
                                     [&](const HiveName& hive) { return hive.name == name; });
    return found == std::end(hives) ? platform::HKEY_LOCAL_MACHINE : found->key;
}

/// The text in front of the first backslash, where backslashes at the very start do not count.
std::u16string_view GetFirstPart(std::u16string_view path) {
    path.remove_prefix(std::min(path.find_first_not_of(u'\\'), path.size()));
    return path.substr(0, path.find(u'\\'));
}

/// The text behind the first backslash; empty without one.
std::u16string_view SkipFirstPart(std::u16string_view path) {
    path.remove_prefix(std::min(path.find(u'\\'), path.size()));
    return path.substr(std::min<std::size_t>(1, path.size()));
}

/// The value `Shell` as Winlogon's two keys have it; the ordinary shell where they have none.
std::u16string ReadShell(const std::u16string& accountHive) {
    const std::u16string keyPath(kWinlogonKeyPath);
    std::u16string shell;
    const RegUtil registry;
    registry.ReadShellValue(accountHive + u"\\" + keyPath, shell);
    if (shell.empty())
        registry.ReadShellValue(u"HKEY_LOCAL_MACHINE\\" + keyPath, shell);
    return shell.empty() ? u"explorer.exe" : shell;
}

/// The path of a process's program; empty if it cannot be had.
std::u16string QueryImagePath(const platform::Handle& process) {
    std::array<char16_t, platform::MAX_PATH> path{};
    DWORD size = platform::MAX_PATH;
    if (process)
        platform::QueryFullProcessImageNameW(process.get(), 0, path.data(), &size);
    return platform::ReadBuffer(path);
}

/// The first active session in the system's order.
DWORD FindActiveSession() {
    platform::WTS_SESSION_INFOW* array = nullptr;
    DWORD count = 0;
    if (platform::WTSEnumerateSessionsW(platform::WTS_CURRENT_SERVER_HANDLE, 0, 1, &array,
                                        &count) == 0)
        return kNoSession;
    const platform::SessionList sessions(array);
    for (const platform::WTS_SESSION_INFOW& session : std::span(array, count)) {
        if (session.State == platform::WTSActive)
            return session.SessionId;
    }
    return kNoSession;
}

bool IsInActiveSession(DWORD processId) {
    DWORD session = 0;
    if (platform::ProcessIdToSessionId(processId, &session) == 0)
        session = 0;
    return session == FindActiveSession();
}

bool IsShellOfActiveSession(DWORD processId, const std::u16string& shellPath) {
    const platform::Handle process(
        platform::OpenProcess(platform::PROCESS_QUERY_INFORMATION, 0, processId));
    const std::u16string imagePath = QueryImagePath(process);
    return !imagePath.empty() && platform::EqualsIgnoringAsciiCase(imagePath, shellPath) &&
           IsInActiveSession(processId);
}

}  // namespace

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): its callers hold an instance
void RegUtil::ReadShellValue(const std::u16string& fullKeyPath, std::u16string& shellValue) const {
    platform::RegistryKey key;
    if (platform::OpenKeyForReading(FindHive(GetFirstPart(fullKeyPath)),
                                    std::u16string(SkipFirstPart(fullKeyPath)), key) != 0)
        return;
    std::array<char16_t, platform::MAX_PATH + 1> data{};
    DWORD type = 0;
    DWORD size = sizeof(data);
    if (platform::RegQueryValueExW(key.get(), kShellValue, nullptr, &type,
                                   reinterpret_cast<platform::BYTE*>(data.data()), &size) != 0)
        return;
    std::u16string text = platform::ReadBuffer(data);
    if (text.size() < platform::MAX_PATH)
        shellValue = std::move(text);
}

std::optional<std::u16string> GetShellPath(const std::u16string& accountHive) {
    const std::u16string shell = ReadShell(accountHive);
    // A path that is as long as its full form counts as that. Only the lengths are compared.
    if (platform::GetFullPathNameW(shell.c_str(), 0, nullptr, nullptr) == shell.size() + 1)
        return shell;
    std::array<char16_t, platform::MAX_PATH> folder{};
    const platform::UINT length = platform::GetWindowsDirectoryW(folder.data(), platform::MAX_PATH);
    if (length == 0 || length > platform::MAX_PATH)
        return u"C:\\Windows\\explorer.exe";
    std::u16string path = platform::ReadBuffer(folder) + u"\\" + shell;
    if (path.size() >= platform::MAX_PATH)
        return std::nullopt;
    return path;
}

DWORD FindShellProcessId(const std::u16string& shellPath) {
    const platform::HMODULE kernel = platform::GetModuleHandleW(u"Kernel32.dll");
    if (kernel == nullptr ||
        platform::GetProcAddress(kernel, "QueryFullProcessImageNameW") == nullptr)
        return 0;
    const platform::HANDLE opened =
        platform::CreateToolhelp32Snapshot(platform::TH32CS_SNAPPROCESS, 0);
    if (opened == platform::INVALID_HANDLE_VALUE)
        return 0;
    const platform::Handle snapshot(opened);
    platform::PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (platform::BOOL isThere = platform::Process32FirstW(snapshot.get(), &entry); isThere != 0;
         isThere = platform::Process32NextW(snapshot.get(), &entry)) {
        if (IsShellOfActiveSession(entry.th32ProcessID, shellPath))
            return entry.th32ProcessID;
    }
    return 0;
}

}  // namespace saltrove
