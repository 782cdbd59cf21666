#include "platform/files.h"
#include "platform/modules.h"
#include "platform/process_closers.h"
#include "usercontext/shell_resolution.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace platform {
namespace {

TEST(ModuleContract, AFunctionIsFoundOrNot) {
    const HMODULE installer = LoadLibraryW(u"msi.dll");
    ASSERT_NE(installer, nullptr);
    EXPECT_NE(GetProcAddress(installer, "MsiEnumPatchesExW"), nullptr);
    EXPECT_EQ(GetProcAddress(installer, "MsiEnumPatches"), nullptr);
    EXPECT_NE(FreeLibrary(installer), 0);
    EXPECT_EQ(LoadLibraryW(u"saltrove-contract.dll"), nullptr);
    const HMODULE kernel = GetModuleHandleW(u"Kernel32.dll");
    EXPECT_NE(GetProcAddress(kernel, "QueryFullProcessImageNameW"), nullptr);
}

TEST(ModuleContract, APathThatDoesNotFitIsCut) {
    std::u16string path(MAX_PATH, u'?');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), MAX_PATH);
    ASSERT_LT(length, MAX_PATH);
    EXPECT_EQ(path.find(u'\0'), length);
    std::u16string cut(6, u'?');
    EXPECT_EQ(GetModuleFileNameW(nullptr, cut.data(), 5), 5U);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(cut.substr(0, 4) + cut[5], path.substr(0, 4) + u'?');
}

TEST(TokenContract, TheUserIsReadInTwoCalls) {
    HANDLE opened = nullptr;
    ASSERT_NE(OpenProcessToken(GetCurrentProcess(), TOKEN_READ, &opened), 0);
    const Handle token(opened);
    DWORD size = 0;
    EXPECT_EQ(GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    const HeapBlock block(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, size));
    ASSERT_NE(GetTokenInformation(token.get(), TokenUser, block.get(), size, &size), 0);
    const auto* user = static_cast<const TOKEN_USER*>(block.get());
    PSID made = nullptr;
    ASSERT_NE(AllocateAndInitializeSid(&SECURITY_NT_AUTHORITY, 2, 18, 5, 0, 0, 0, 0, 0, 0, &made),
              0);
    const Sid other(made);
    EXPECT_NE(EqualSid(user->User.Sid, user->User.Sid), 0);
    EXPECT_EQ(EqualSid(user->User.Sid, other.get()), 0);
    char16_t* text = nullptr;
    ASSERT_NE(ConvertSidToStringSidW(other.get(), &text), 0);
    EXPECT_EQ(std::u16string(LocalText(text).get()), u"S-1-5-18-5");
}

TEST(ProcessContract, AProcessIsCreatedUnderATokenOrNot) {
    constexpr DWORD kAccess = TOKEN_ASSIGN_PRIMARY | TOKEN_DUPLICATE | TOKEN_QUERY;
    HANDLE opened = nullptr;
    ASSERT_NE(OpenProcessToken(GetCurrentProcess(), kAccess, &opened), 0);
    const Handle own(opened);
    ASSERT_NE(DuplicateTokenEx(own.get(), kAccess | TOKEN_ADJUST_DEFAULT | TOKEN_ADJUST_SESSIONID,
                               nullptr, SecurityImpersonation, TokenPrimary, &opened),
              0);
    const Handle token(opened);
    ASSERT_NE(DuplicateTokenEx(own.get(), TOKEN_ASSIGN_PRIMARY | TOKEN_QUERY, nullptr,
                               SecurityImpersonation, TokenPrimary, &opened),
              0);
    const Handle tokenToAssign(opened);
    char16_t self[MAX_PATH] = {};
    ASSERT_NE(GetModuleFileNameW(nullptr, self, MAX_PATH), 0U);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    for (const std::u16string& program : {std::u16string(self), std::u16string(u"C:\\none.exe")}) {
        for (const bool isInTokensSession : {false, true}) {
            std::u16string line = u"\"" + program + u"\" --gtest_filter=None";
            PROCESS_INFORMATION information{};
            const BOOL isCreated =
                isInTokensSession ? CreateProcessAsUserW(tokenToAssign.get(), nullptr, line.data(),
                                                         nullptr, nullptr, 0, CREATE_NO_WINDOW,
                                                         nullptr, nullptr, &startup, &information)
                                  : CreateProcessWithTokenW(token.get(), 0, nullptr, line.data(),
                                                            CREATE_NO_WINDOW, nullptr, nullptr,
                                                            &startup, &information);
            const Handle process(information.hProcess);
            const Handle thread(information.hThread);
            EXPECT_EQ(isCreated != 0, program == self);
            EXPECT_EQ(process != nullptr && thread != nullptr, program == self);
        }
    }
}

TEST(SessionContract, TheSessionsAreAnArrayToBeGivenBack) {
    WTS_SESSION_INFOW* sessions = nullptr;
    DWORD count = 77;
    EXPECT_NE(WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, &sessions, &count), 0);
    EXPECT_LT(count, 77U);
    SessionList(sessions).reset();
}

TEST(ProcessContract, ASnapshotEndsAndItsProcessesCanBeAsked) {
    const Handle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry{};
    EXPECT_EQ(Process32FirstW(snapshot.get(), &entry), 0) << "dwSize is not set";
    entry.dwSize = sizeof(entry);
    std::u16string named;
    std::map<DWORD, std::u16string> paths;
    DWORD session = 0;
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more != 0;
         more = Process32NextW(snapshot.get(), &entry)) {
        const Handle process(OpenProcess(PROCESS_QUERY_INFORMATION, 0, entry.th32ProcessID));
        char16_t path[MAX_PATH] = {};
        DWORD size = MAX_PATH;
        if (process && QueryFullProcessImageNameW(process.get(), 0, path, &size) != 0) {
            const std::u16string full(path);
            EXPECT_EQ(size, full.size());
            EXPECT_NE(ProcessIdToSessionId(entry.th32ProcessID, &session), 0);
            EXPECT_EQ(QueryFullProcessImageNameW(process.get(), 0, path, &(size = 5)), 0);
            EXPECT_EQ(size, 5U);
            EXPECT_EQ(path, full) << "too small a buffer stays as it was";
            named = paths[entry.th32ProcessID] = full;
        }
    }
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_NE(named, u"");
    const DWORD shell = saltrove::FindShellProcessId(named);
    EXPECT_TRUE(shell == 0 || paths[shell] == named) << "nobody need be signed in";
    EXPECT_NE(ProcessIdToSessionId(GetCurrentProcessId(), &session), 0);
    EXPECT_EQ(ProcessIdToSessionId(0x7FFFFFF1, &session), 0);
    EXPECT_EQ(OpenProcess(PROCESS_QUERY_INFORMATION, 0, 0x7FFFFFF1), nullptr);
}

}  // namespace
}  // namespace platform
