#include "cleanup/package_removal.h"

#include "platform/simulated/pending_renames.h"
#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;

const std::u16string kPath = u"C:\\WINDOWS\\Installer\\1.MSP";

TEST(PackageRemoval, DeletesOrMarksOrLeaves) {
    const std::string inUse = "  [DELETE FAILED] Error code: 32\n";
    const std::string denied = "  [DELETE FAILED] Error code: 5\n";
    const std::string marked = "  [MARKED FOR DELETION] Scheduled for deletion on reboot\n";
    const struct {
        const char* name;
        DWORD deleteError;  // 0: none
        DWORD markError;
        bool simulate;
        RemovalOutcome outcome;
        std::string lines;
        unsigned marks;
    } cases[] = {
        {"Simulated", 5, 5, true, RemovalOutcome::Simulated, "  [SIMULATION] Would delete\n", 0},
        {"Deleted", 0, 0, false, RemovalOutcome::Deleted, "  [DELETED] Successfully deleted\n", 0},
        {"InUse", 32, 0, false, RemovalOutcome::Marked, inUse + marked, 1},
        {"AccessDenied", 5, 0, false, RemovalOutcome::Marked, denied + marked, 1},
        {"AnotherError", 0xFFFFFFFF, 0, false, RemovalOutcome::DeleteFailed,
         "  [DELETE FAILED] Error code: 4294967295\n", 0},
        {"NeitherWay", 32, 1314, false, RemovalOutcome::MarkFailed, inUse + "mark: 1314\n", 1},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        Machine machine = MakeMachine();
        machine.drive.AddFile(kCache + u"1.msp", "package");
        if (row.deleteError != 0)
            AddFault(machine, "DeleteFileW", kPath, row.deleteError);
        if (row.markError != 0)
            AddFault(machine, "MoveFileExW", kPath, row.markError);
        RunWithLog(machine,
                   [&] { EXPECT_EQ(RemovePackage(kPath, row.simulate, u"mark: "), row.outcome); });
        EXPECT_EQ(LogText(machine), row.lines);
        EXPECT_EQ(CacheText(machine), row.outcome == RemovalOutcome::Deleted ? "" : "1.msp");
        EXPECT_EQ(machine.CallCount("DeleteFileW"), row.simulate ? 0U : 1U);
        EXPECT_EQ(machine.CallCount("MoveFileExW"), row.marks);
        for (const auto& call : machine.calls) {
            const bool isRemoval = call.call == "MoveFileExW" || call.call == "DeleteFileW";
            EXPECT_TRUE(!isRemoval || call.subject == kPath) << "the path is handed on as it is";
        }
        EXPECT_EQ(NumbersOf(machine, "MoveFileExW"), std::vector<std::uint64_t>(row.marks, 4));
    }
}

TEST(PackageRemoval, MarksBehindWhatIsMarkedAlready) {
    const std::u16string key =
        u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    const std::u16string name = u"PendingFileRenameOperations";
    // Two of them lack what ends a list or a pair.
    const std::pair<std::u16string, std::u16string> lists[] = {
        {std::u16string(u"A\0B\0C\0\0\0", 8), std::u16string(u"A\0B\0C\0\0", 7)},
        {std::u16string(u"A\0\0", 3), std::u16string(u"A\0\0", 3)},
        {std::u16string(u"\0\0", 2), u""},
        {u"", u""},
    };
    for (const auto& [before, kept] : lists) {
        Machine machine = MakeMachine();
        machine.drive.AddFile(kCache + u"1.msp", "package");
        auto data = platform::simulated::DataOfText(before);
        data.resize(data.size() - 2);
        machine.registry.SetValue(key, name, platform::REG_MULTI_SZ, data);
        AddFault(machine, "DeleteFileW", u"", 32);
        RunWithLog(machine, [&] { (void)RemovePackage(kPath, false, u""); });
        const std::u16string after = kept + u"\\??\\" + kPath + std::u16string(2, u'\0');
        EXPECT_EQ(machine.registry.FindValue(key, name)->data,
                  platform::simulated::DataOfText(after));
        const auto renames = platform::simulated::ReadPendingRenames(machine.registry);
        EXPECT_EQ(renames.back().path + renames.back().newPath, kPath);
    }
}

TEST(PackageRemoval, KnowsTheCacheFolder) {
    Machine machine;
    const platform::simulated::MachineScope scope(machine);
    EXPECT_TRUE(IsInInstallerCache(u"C:\\Windows\\Installer\\a.msp"));
    EXPECT_TRUE(IsInInstallerCache(u"c:\\WINDOWS\\INSTALLER\\"));
    for (const char16_t* path :
         {u"", u"C:\\Windows\\Installer", u"D:\\Windows\\Installer\\a.msp",
          u"X:\\C:\\Windows\\Installer\\a.msp", u"C:\\Windows\\Installers\\a.msp",
          u"\\\\?\\C:\\Windows\\Installer\\a.msp"})
        EXPECT_FALSE(IsInInstallerCache(path));
}

}  // namespace
}  // namespace saltrove
