#include "cleanup/package_removal.h"

#include "support/machines.h"

#include <gtest/gtest.h>

// Every outcome with its lines is in the images guards and orphans, and in their simulations; a
// deletion at the restart with other flags than its own is refused by the simulated call.

namespace saltrove {
namespace {

using namespace test;

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

TEST(PackageRemoval, ASimulatedOneTakesAwayAndCleansNothing) {
    Machine machine;
    const platform::simulated::MachineScope scope(machine);
    RemovalErrors errors;
    const RemovalOutcome outcome = RemovePackage(kCache + u"a.msp", true, u"", errors);
    EXPECT_EQ(outcome, RemovalOutcome::Simulated);
    EXPECT_TRUE(IsTakenAway(outcome));
    EXPECT_FALSE(IsCleaned(outcome));
}

}  // namespace
}  // namespace saltrove
