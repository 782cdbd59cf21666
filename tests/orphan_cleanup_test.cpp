#include "cleanup/orphan_cleanup.h"

#include "support/machines.h"
#include "support/package_writer.h"

#include <iterator>

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

/// A machine with each kind of entry in its cache, and an orphan that cannot go.
Machine MakeMixedMachine() {
    Machine machine = MakeMachine();
    Package foreign = MakePackage({{"Description", "Another"}});
    machine.drive.AddFile(kCache + u"a.msp", "no package");
    machine.drive.AddDirectory(kCache + u"b.msp");
    machine.drive.FindToChange(kCache + u"b.msp")->isReadOnly = true;  // a folder with more bits
    AddPatch(machine, 3, {2, u"", u"", u"c.msp"});
    machine.registry.SetText(GetPackageKey(3), u"LocalPackage", u"C:\\WINDOWS\\Installer\\C.MSP");
    AddPatch(machine, 4, {1, u"", u"", u"c.msp"});
    machine.drive.AddFile(kCache + u"d.msp", WritePackage(foreign));
    foreign.hasTable = false;
    machine.drive.AddFile(kCache + u"e.msp", WritePackage(foreign));
    machine.drive.AddFile(kCache + u"f.msp", kOwnPackage);
    machine.drive.AddFile(kCache + u"g.msp", kOwnPackage);
    AddFault(machine, "DeleteFileW", kCache + u"g.msp", 2);
    return machine;
}

TEST(OrphanCleanup, TellsOfEachEntryWhatItIsAndWhy) {
    Machine machine = MakeMixedMachine();
    const std::pair<std::u16string, EntryKind> expected[] = {
        {u"a.msp", EntryKind::NoPackage}, {u"b.msp", EntryKind::Folder},
        {u"c.msp", EntryKind::Linked},    {u"d.msp", EntryKind::Foreign},
        {u"e.msp", EntryKind::NoPackage}, {u"f.msp", EntryKind::Orphan},
        {u"g.msp", EntryKind::Orphan}};
    RunWithLog(machine, [&] {
        EXPECT_FALSE(RunOrphanPhase(true).patchesCleaned) << "a simulation";
        const std::vector<CacheEntry> entries = RunOrphanPhase(false).entries;
        ASSERT_EQ(entries.size(), std::size(expected));
        for (std::size_t i = 0; i < entries.size(); ++i) {
            EXPECT_EQ(std::pair(entries[i].fileName, entries[i].kind), expected[i]) << i;
            EXPECT_EQ(entries[i].failure.has_value(), entries[i].kind == EntryKind::NoPackage);
            EXPECT_EQ(entries[i].link.has_value(), entries[i].kind == EntryKind::Linked);
        }
        EXPECT_EQ(entries[0].failure->step, PackageStep::Open);
        EXPECT_EQ(entries[0].failure->error, 110U);
        EXPECT_EQ(entries[2].link->patchCode + entries[2].link->targetProductCode,
                  GetPatchCode(3) + kProduct)
            << "the first of two";
        EXPECT_EQ(entries[3].description, u"Another");
        EXPECT_EQ(entries[4].failure->step, PackageStep::Query);
        EXPECT_EQ(entries[4].failure->error, 1615U);
        EXPECT_EQ(entries[5].description, u"Kelvane Ostrel");
        EXPECT_EQ(entries[5].outcome, RemovalOutcome::Deleted);
        EXPECT_EQ(entries[6].outcome, RemovalOutcome::DeleteFailed);
    });
}

TEST(OrphanCleanup, BothSidesOfTheComparisonAreLowerCasedAlike) {
    for (unsigned failing = 1; failing <= 4; ++failing) {
        Machine machine = MakeMachine();
        AddPatch(machine, 3, {1, u"", u"", u"\u00C9.msp"});
        machine.drive.AddFile(kCache + u"\u00C9.msp", kOwnPackage);
        AddFault(machine, "_create_locale", u"", 1, failing, failing);
        RunWithLog(machine, [&] {
            const std::vector<CacheEntry> entries = RunOrphanPhase(false).entries;
            ASSERT_EQ(entries.size(), 1U);
            EXPECT_EQ(entries[0].kind, EntryKind::Linked) << failing;
        });
    }
}

TEST(OrphanCleanup, SetsItsResultsAndOnlyEverSetsTheFlag) {
    for (const bool wasCleaned : {false, true}) {
        for (const DWORD error : {2U, 5U}) {
            Machine machine = MakeMixedMachine();
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
            EXPECT_EQ(machine.CountCalls("MsiOpenDatabaseW"), 5U) << "no folder, nothing linked";
        }
    }
}

}  // namespace
}  // namespace saltrove
