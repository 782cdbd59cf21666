#include "usercontext/user_launch.h"

#include "support/machines.h"
#include "usercontext/shell_resolution.h"

#include <gtest/gtest.h>

#include <tuple>

namespace saltrove {
namespace {

using namespace test;

const std::u16string kUser = u"S-1-5-21-1-2-3-1001";
const std::u16string kCommand = u"C:\\Windows\\Temp\\Saltrove.exe {code} usercontext";

/// A machine on which LocalSystem runs, with one user signed in.
Machine MakeUserMachine() {
    Machine machine = MakeIncrementalMachine();
    // The shell of LocalSystem's own hive counts, and not the machine's.
    const std::u16string winlogon = u"\\" + std::u16string(kWinlogonKeyPath);
    machine.registry.SetText(u"HKEY_USERS\\S-1-5-18" + winlogon, u"Shell", u"explorer.exe");
    machine.registry.SetText(u"HKEY_LOCAL_MACHINE" + winlogon, u"Shell", u"other.exe");
    machine.sessions = {{1, true}};
    machine.processes = {{400, 1, kUser, u"C:\\Windows\\other.exe"},
                         {500, 1, kUser, u"C:\\Windows\\explorer.exe"}};
    return machine;
}

bool Launch(Machine& machine, const std::u16string& commandLine = kCommand) {
    bool isLaunched = false;
    RunWithLog(machine, [&] { isLaunched = LaunchProcessInUserContext(commandLine); });
    return isLaunched;
}

const std::string kInside = "Inside LaunchProcessInUserContext\n";
const std::string kLines = kInside + "Inside OpenProcessToken\n";

TEST(UserLaunch, StartsTheProcessUnderTheUsersToken) {
    using Numbers = std::vector<std::uint64_t>;
    // A session that cannot be read, behind that of the shell, counts as 0.
    for (const auto& [own, session, failing] :
         {std::tuple(0U, 0U, 9U), {7U, 7U, 9U}, {7U, 0U, 2U}}) {
        Machine machine = MakeUserMachine();
        machine.process.session = own;
        AddFault(machine, "ProcessIdToSessionId", u"", 5, failing);
        EXPECT_TRUE(Launch(machine));
        ASSERT_EQ(machine.startedProcesses.size(), 1U);
        EXPECT_EQ(machine.startedProcesses[0].account, kUser);
        EXPECT_EQ(machine.startedProcesses[0].session, session == 0 ? 1U : session);
        EXPECT_EQ(machine.startedProcesses[0].commandLine, kCommand);
        const std::string command = "CommandLine to run in user context: "
                                    "C:\\Windows\\Temp\\Saltrove.exe {code} usercontext\n";
        EXPECT_EQ(ReadLogText(machine), kLines + (session == 0 ? "" : command));
        EXPECT_EQ(FindNumbers(machine, "CreateProcessAsUserW"),
                  session == 0 ? (Numbers{0, 0x8000000, 0, 0}) : Numbers());
        EXPECT_EQ(FindNumbers(machine, "CreateProcessWithTokenW"),
                  session == 0 ? Numbers() : (Numbers{0, 0x8000000, 0, 0}));
        // The process is looked at by the search, and then once more for its token.
        EXPECT_EQ(FindAllNumbers(machine, "OpenProcess"),
                  (Numbers{0x400, 0, 400, 0x400, 0, 500, 0x400, 0, 500}));
        EXPECT_EQ(FindAllNumbers(machine, "WTSEnumerateSessionsW"), (Numbers{0, 1}))
            << "for the shell alone";
        // The kind of each, its access, its process: those of the search and the snapshot; then the
        // shell's token and process, the new process and its thread, the copied token.
        EXPECT_EQ(FindAllNumbers(machine, "CloseHandle"),
                  (Numbers{0, 0x400, 400, 0, 0x400, 500,  3, 0, 0,    2, 0xB,   0,
                           0, 0x400, 500, 0, 0,     1002, 1, 0, 1002, 2, 0x18B, 0}));
        EXPECT_EQ(FindNumbers(machine, "OpenProcessToken"), Numbers{0xB});
        EXPECT_EQ(FindNumbers(machine, "DuplicateTokenEx"), (Numbers{0x18B, 2, 1, 0}));
        EXPECT_EQ(FindNumbers(machine, "CreateToolhelp32Snapshot"), (Numbers{2, 0}));
        EXPECT_EQ(FindNumbers(machine, "QueryFullProcessImageNameW"), (Numbers{0, 260}));
    }
}

TEST(UserLaunch, WhatFailsIsNotGoneRound) {
    const struct {
        const char* call;
        unsigned first;
        const std::string& lines;
    } cases[] = {{"OpenProcess", 3, kInside},  // the search has opened two
                 {"OpenProcessToken", 1, kInside},
                 {"DuplicateTokenEx", 1, kLines},
                 {"CreateProcessAsUserW", 1, kLines}};
    for (const auto& row : cases) {
        Machine machine = MakeUserMachine();
        AddFault(machine, row.call, u"", 5, row.first);
        EXPECT_FALSE(Launch(machine)) << row.call;
        EXPECT_EQ(ReadLogText(machine), row.lines) << row.call;
        EXPECT_TRUE(machine.startedProcesses.empty()) << row.call;
    }
}

TEST(UserLaunch, ALineThatDoesNotFitIsGivenUpBeforeTheShellIsOpened) {
    Machine machine = MakeUserMachine();
    const std::u16string start = u"C:\\Windows\\Temp\\Saltrove.exe ";
    EXPECT_TRUE(Launch(machine, start + std::u16string(259 - start.size(), u'x')));
    const unsigned opened = machine.CountCalls("OpenProcess");
    EXPECT_FALSE(Launch(machine, start + std::u16string(260 - start.size(), u'x')));
    EXPECT_EQ(machine.CountCalls("OpenProcess"), opened + 2) << "by the search alone";
    EXPECT_EQ(machine.CountCalls("OpenProcessToken"), 1U);
    machine.windowsDirectory = std::u16string(250, u'w');
    EXPECT_FALSE(Launch(machine)) << "the shell's path does not fit either";
}

TEST(UserLaunch, OnlyLocalSystemIsTheSystemContext) {
    const struct {
        const char16_t* account;
        const char* failingCall;
        unsigned first;
        bool isSystem;
    } cases[] = {
        {u"S-1-5-18", "none", 1, true},
        {u"S-1-5-19", "none", 1, false},
        {u"S-1-5-18-1", "none", 1, false},
        {u"S-1-6-18", "none", 1, false},
        {u"S-1-5-18", "OpenProcessToken", 1, false},
        {u"S-1-5-18", "HeapAlloc", 1, false},
        {u"S-1-5-18", "GetTokenInformation", 2, false},
        {u"S-1-5-18", "AllocateAndInitializeSid", 1, false},
        {u"S-1-5-18", "EqualSid", 1, false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.failingCall);
        Machine machine = MakeMachine();
        machine.process.account = row.account;
        AddFault(machine, row.failingCall, u"", 8, row.first);
        RunWithLog(machine, [&] { EXPECT_EQ(IsRunningInSystemContext(), row.isSystem); });
        EXPECT_EQ(ReadLogBytes(machine), "(no log)");
        EXPECT_EQ(FindNumbers(machine, "OpenProcessToken"), std::vector<std::uint64_t>{0x20008});
        const std::vector<std::uint64_t> allocation = FindNumbers(machine, "HeapAlloc");
        EXPECT_TRUE(allocation.empty() || allocation[0] == 8) << "zeroed";
    }
}

}  // namespace
}  // namespace saltrove
