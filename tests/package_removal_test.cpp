#include "cleanup/package_removal.h"

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
        EXPECT_EQ(ReadLogText(machine).substr(0, ReadLogText(machine).find('\n')),
                  "  [DELETE FAILED] Error code: " + std::to_string(error));
        EXPECT_EQ(FindNumbers(machine, "MoveFileExW"),
                  std::vector<std::uint64_t>(isMarked ? 1 : 0, 4));
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
