#include "cleanup/orphan_cleanup.h"

#include "support/machines.h"

#include <gtest/gtest.h>

// The phase's logs and records are the images whose names begin with "orphans".

namespace saltrove {
namespace {

using namespace test;

TEST(OrphanCleanup, AnOrphanNamesTheFamily) {
    for (const char16_t* description : {u"an update of kelvane ostrel 1.2", u"kelvane lumeth"})
        EXPECT_TRUE(NamesProductFamily(description));
    for (const char16_t* description : {u"", u"ostrel lumeth", u"kelvane  ostrel"})
        EXPECT_FALSE(NamesProductFamily(description));
}

TEST(OrphanCleanup, SetsItsResultsAndOnlyEverSetsTheFlag) {
    for (const bool wasCleaned : {false, true}) {
        for (const DWORD error : {2U, 5U}) {
            Machine machine = MakeMachine();
            machine.drive.AddDirectory(kCache + u"b.msp");
            machine.drive.FindToChange(kCache + u"b.msp")->isReadOnly = true;  // with more bits
            AddPatch(machine, 3, {2, u"", u"", u"c.msp"});
            machine.drive.AddFile(kCache + u"f.msp", kOwnPackage);
            machine.drive.AddFile(kCache + u"g.msp", kOwnPackage);
            AddFault(machine, "DeleteFileW", kCache + u"g.msp", 2);
            AddFault(machine, "DeleteFileW", kCache + u"f.msp", error);
            std::int32_t orphanCount = 77;
            std::u16string orphanList = u"from before";
            bool patchesCleaned = wasCleaned;
            RunWithLog(machine, [&] {
                CleanupOrphanPatches(orphanCount, orphanList, patchesCleaned, false);
            });
            EXPECT_EQ(orphanCount, 2);
            EXPECT_EQ(orphanList, u"f.msp;g.msp");
            EXPECT_EQ(patchesCleaned, wasCleaned || error == 5) << "marked, if access is denied";
            EXPECT_EQ(machine.CountCalls("MsiOpenDatabaseW"), 2U) << "no folder, nothing linked";
        }
    }
}

}  // namespace
}  // namespace saltrove
