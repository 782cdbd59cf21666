#include "usercontext/shell_resolution.h"

#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;
using platform::simulated::MachineScope;

const std::u16string kWinlogon = u"\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon";
const std::u16string kExplorer = u"C:\\Windows\\explorer.exe";

TEST(ShellResolution, TakesTheShellOfTheAccountThenOfTheMachineThenTheUsual) {
    const std::u16string longest = u"C:\\" + std::u16string(256, u'x');
    const struct {
        const char* name;
        std::u16string ofUser;
        std::u16string ofMachine;
        std::u16string windows;
        std::optional<std::u16string> path;
    } cases[] = {
        {"Neither", u"", u"", u"C:\\Windows", kExplorer},
        {"Machine", u"", u"shell.exe", u"D:\\Win", u"D:\\Win\\shell.exe"},
        {"UserFirst", u"D:\\my shell.exe", u"shell.exe", u"C:\\Windows", u"D:\\my shell.exe"},
        {"Slashes", u"D:/a.exe", u"", u"C:\\Windows", u"D:/a.exe"},
        {"Server", u"\\\\srv\\share\\a.exe", u"", u"C:\\Windows", u"\\\\srv\\share\\a.exe"},
        {"ArgumentsOfTheSameLength", u"C:\\a.exe /x", u"", u"C:\\Windows", u"C:\\a.exe /x"},
        {"Arguments", u"explorer.exe /x", u"", u"C:\\Windows", kExplorer + u" /x"},
        {"ParentFolder", u"C:\\Windows\\..\\a.exe", u"", u"C:\\W",
         u"C:\\W\\C:\\Windows\\..\\a.exe"},
        {"NoWindowsFolder", u"shell.exe", u"", u"", kExplorer},
        {"Longest", longest, u"", u"C:\\Windows", longest},
        {"TooLong", longest + u"x", u"a.exe", u"C:\\Windows", u"C:\\Windows\\a.exe"},
        {"FitsBehindTheFolder", std::u16string(248, u'x'), u"", u"C:\\Windows",
         u"C:\\Windows\\" + std::u16string(248, u'x')},
        {"DoesNotFitBehindTheFolder", std::u16string(249, u'x'), u"", u"C:\\Windows", std::nullopt},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        Machine machine = MakeMachine();
        machine.windowsDirectory = row.windows;
        machine.registry.SetText(u"HKEY_USERS\\S-1-5-18" + kWinlogon, u"Shell", row.ofUser);
        machine.registry.SetValue(u"HKEY_LOCAL_MACHINE" + kWinlogon, u"Shell", platform::REG_BINARY,
                                  platform::simulated::MakeTextData(row.ofMachine));  // any type
        const MachineScope scope(machine);
        EXPECT_EQ(GetShellPath(), row.path);
        EXPECT_EQ(machine.CountCalls("RegOpenKeyExW"),
                  row.ofUser.empty() || row.ofUser.size() >= 260 ? 2U : 1U);
        EXPECT_EQ(FindNumbers(machine, "RegQueryValueExW"), std::vector<std::uint64_t>{522});
        ExpectNothingOpen(machine);
    }
}

TEST(ShellResolution, ReadsBelowTheHiveThatThePathNames) {
    Machine machine = MakeMachine();
    const std::u16string hives[] = {u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER",
                                    u"HKEY_LOCAL_MACHINE", u"HKEY_USERS", u"HKEY_CURRENT_CONFIG"};
    for (const std::u16string& hive : hives) {
        const auto key =
            platform::simulated::MakeCanonicalKeyPath(hive + u"\\K", machine.process.account);
        machine.registry.SetText(*key, u"Shell", hive);
    }
    machine.registry.SetText(u"HKEY_USERS\\HKEY_USERS\\K", u"Shell", u"behind a backslash");
    machine.registry.SetValue(u"HKEY_LOCAL_MACHINE\\Long", u"Shell", platform::REG_BINARY,
                              platform::simulated::ValueData(522, 'y'));
    const MachineScope scope(machine);
    const auto read = [](const std::u16string& path) {
        std::u16string shell = u"(as before)";
        RegUtil().ReadShellValue(path, shell);
        return shell;
    };
    for (const std::u16string& hive : hives)
        EXPECT_EQ(read(hive + u"\\K"), hive);
    EXPECT_EQ(read(u"hkey_users\\K"), hives[2]) << "in another letter case it is no hive";
    EXPECT_EQ(read(u"\\HKEY_USERS\\K"), u"behind a backslash");
    EXPECT_EQ(read(u"HKEY_USERS\\None"), u"(as before)");
    EXPECT_EQ(read(u"HKEY_LOCAL_MACHINE\\Long"), u"(as before)");
    EXPECT_EQ(read(u"HKEY_USERS"), u"(as before)");
    ExpectNothingOpen(machine);
    for (const std::u16string hive : {u"HKEY_DYN_DATA", u"HKEY_PERFORMANCE_DATA"})
        EXPECT_EQ(read(hive + u"\\K"), u"(as before)") << "no keys can be opened in it";
}

TEST(ShellResolution, TheShellIsTheOneInTheFirstActiveSession) {
    using platform::simulated::OtherProcess;
    using platform::simulated::Session;
    const OtherProcess shell = {4, 1, u"S-1-5-9", kExplorer};
    const OtherProcess other = {8, 2, u"S-1-5-9", u"c:\\WINDOWS\\explorer.EXE"};
    const OtherProcess ofServices = {4, 0, u"S-1-5-9", kExplorer};
    const struct {
        const char* name;
        std::vector<Session> sessions;
        std::vector<OtherProcess> processes;
        const char* failingCall;
        DWORD id;
    } cases[] = {
        {"One", {{1, true}}, {shell}, "none", 4},
        {"Nobody", {{1, false}}, {shell}, "none", 0},
        {"NotFirst", {{2, true}, {1, true}}, {shell}, "none", 0},
        {"SecondMatches", {{1, false}, {2, true}}, {shell, other}, "none", 8},
        {"OtherFolder", {{1, true}}, {{4, 1, u"S-1-5-9", u"C:\\explorer.exe"}}, "none", 0},
        {"SessionUnread", {{0, true}}, {shell}, "ProcessIdToSessionId", 4},
        {"NobodyAndServices", {{1, false}}, {ofServices}, "none", 0},
        {"ListUnread", {{1, true}}, {ofServices}, "WTSEnumerateSessionsW", 0},
        {"NoModule", {{1, true}}, {shell}, "GetModuleHandleW", 0},
        {"NoPicture", {{1, true}}, {shell}, "CreateToolhelp32Snapshot", 0},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        Machine machine = MakeMachine();
        machine.sessions = row.sessions;
        machine.processes = row.processes;
        AddFault(machine, row.failingCall, u"", 5);
        const MachineScope scope(machine);
        EXPECT_EQ(FindShellProcessId(kExplorer), row.id);
        ExpectNothingOpen(machine);
    }
}

}  // namespace
}  // namespace saltrove
