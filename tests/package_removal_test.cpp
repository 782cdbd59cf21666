#include "cleanup/package_removal.h"

#include "platform/simulated/pending_renames.h"
#include "support/machines.h"

#include <gtest/gtest.h>

// Every outcome with its lines is in the images guards and orphans, and in their simulations.

namespace saltrove {
namespace {

using namespace test;

const std::u16string kPath = u"C:\\WINDOWS\\Installer\\1.MSP";

TEST(PackageRemoval, OnlyWhatIsInUseOrDeniedIsMarked) {
    for (const DWORD error : {32U, 5U, 2U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(error);
        const bool isMarked = error == 32 || error == 5;
        Machine machine = MakeMachine();
        machine.drive.AddFile(kCache + u"1.msp", "package");
        AddFault(machine, "DeleteFileW", kPath, error);
        RunWithLog(machine, [&] {
            EXPECT_EQ(RemovePackage(kPath, false, u""),
                      isMarked ? RemovalOutcome::Marked : RemovalOutcome::DeleteFailed);
        });
        EXPECT_EQ(LogText(machine).substr(0, LogText(machine).find('\n')),
                  "  [DELETE FAILED] Error code: " + std::to_string(error));
        EXPECT_EQ(NumbersOf(machine, "MoveFileExW"),
                  std::vector<std::uint64_t>(isMarked ? 1 : 0, 4));
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
        std::u16string after = kept;
        for (int time = 0; time < 2; ++time) {
            RunWithLog(machine, [&] { (void)RemovePackage(kPath, false, u""); });
            after.append(u"\\??\\").append(kPath).append(2, u'\0');
        }
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
