#include "cleanup/orphan_cleanup.h"

#include "support/machines.h"
#include "support/package_writer.h"

#include <gtest/gtest.h>

// The phase's logs and records are the images whose names begin with "orphans".

namespace saltrove {
namespace {

using namespace test;

TEST(OrphanCleanup, AnOrphanIsAFileThatNothingLinksToAndThatNamesTheFamily) {
    const std::u16string linked = u"c:\\windows\\installer\\linked.msp";
    const std::u16string free = u"c:\\windows\\installer\\free.msp";
    const LinkedPackages linkedPackages = {{linked, {}}};
    EXPECT_TRUE(MayBeOrphan(0x20, free, linkedPackages));
    EXPECT_FALSE(MayBeOrphan(0x20, linked, linkedPackages));
    EXPECT_FALSE(MayBeOrphan(0x10, free, linkedPackages));
    EXPECT_FALSE(MayBeOrphan(0x13, free, linkedPackages)) << "a folder with more bits";
    for (const char16_t* description :
         {u"an update of kelvane ostrel 1.2", u"kelvane lumeth", u"kelvane ostrel and lumeth"})
        EXPECT_TRUE(NamesProductFamily(description));
    for (const char16_t* description :
         {u"", u"ostrel lumeth", u"kelvane  ostrel", u"Kelvane Ostrel"})
        EXPECT_FALSE(NamesProductFamily(description));
}

struct Phase {
    std::int32_t orphanCount = 77;
    std::u16string orphanList = u"from before";
    bool patchesCleaned = false;
};

TEST(OrphanCleanup, SetsItsResultsAndOnlyEverSetsTheFlag) {
    for (const bool wasCleaned : {false, true}) {
        Machine machine = MakeIncrementalMachine();
        machine.drive.AddFile(kCache + u"6.msp", kOwnPackage);
        Phase phase;
        phase.patchesCleaned = wasCleaned;
        AddFault(machine, "DeleteFileW", u"", 2);
        RunWithLog(machine, [&] {
            CleanupOrphanPatches(phase.orphanCount, phase.orphanList, phase.patchesCleaned, false);
        });
        EXPECT_EQ(phase.orphanCount, 1);
        EXPECT_EQ(phase.orphanList, u"6.msp");
        EXPECT_EQ(phase.patchesCleaned, wasCleaned);
        EXPECT_EQ(machine.CountCalls("MsiOpenDatabaseW"), 1U) << "a linked package is not opened";
    }
}

TEST(OrphanCleanup, WhatCannotBeReadCountsAsNotLinked) {
    Machine machine = MakeIncrementalMachine();
    machine.registry.RemoveValue(GetPackageKey(0), u"LocalPackage");
    AddFault(machine, "MsiEnumPatchesExW", u"", 1610, 3, 3);
    Phase phase;
    RunWithLog(machine, [&] {
        CleanupOrphanPatches(phase.orphanCount, phase.orphanList, phase.patchesCleaned, false);
    });
    EXPECT_EQ(phase.orphanList, u"0.msp;2.msp;3.msp;4.msp;5.msp");
    EXPECT_TRUE(phase.patchesCleaned);
    EXPECT_EQ(ReadCacheText(machine), "1.msp");
}

TEST(OrphanCleanup, TellsOfEachEntryWhatItIsAndWhy) {
    Machine machine = MakeMachine();
    AddPatch(machine, 3, {2, u"", u"", u"c.msp"});
    machine.registry.SetText(GetPackageKey(3), u"LocalPackage", u"C:\\WINDOWS\\Installer\\C.MSP");
    machine.drive.AddFile(kCache + u"a.msp", "no package");
    machine.drive.AddDirectory(kCache + u"b.msp");
    Package foreign = MakePackage({{"Description", "Another"}});
    machine.drive.AddFile(kCache + u"d.msp", WritePackage(foreign));
    foreign.hasTable = false;
    machine.drive.AddFile(kCache + u"e.msp", WritePackage(foreign));
    machine.drive.AddFile(kCache + u"f.msp", kOwnPackage);
    machine.drive.AddFile(kCache + u"g.msp", kOwnPackage);
    AddFault(machine, "DeleteFileW", kCache + u"g.msp", 2);
    const struct {
        std::u16string fileName;
        EntryKind kind;
        std::u16string description;
    } expected[] = {
        {u"a.msp", EntryKind::NoPackage, u""},
        {u"b.msp", EntryKind::Folder, u""},
        {u"c.msp", EntryKind::Linked, u""},
        {u"d.msp", EntryKind::Foreign, u"Another"},
        {u"e.msp", EntryKind::NoPackage, u""},
        {u"f.msp", EntryKind::Orphan, u"Kelvane Ostrel"},
        {u"g.msp", EntryKind::Orphan, u"Kelvane Ostrel"},
    };
    RunWithLog(machine, [&] {
        const std::vector<CacheEntry> entries = RunOrphanPhase(false).entries;
        ASSERT_EQ(entries.size(), std::size(expected));
        for (std::size_t i = 0; i < entries.size(); ++i) {
            EXPECT_EQ(entries[i].fileName, expected[i].fileName);
            EXPECT_EQ(entries[i].kind, expected[i].kind);
            EXPECT_EQ(entries[i].description, expected[i].description);
            EXPECT_EQ(entries[i].failure.has_value(), entries[i].kind == EntryKind::NoPackage);
            EXPECT_EQ(entries[i].link.has_value(), entries[i].kind == EntryKind::Linked);
        }
        EXPECT_EQ(entries[0].failure->step, PackageStep::Open);
        EXPECT_EQ(entries[0].failure->error, 110U);
        EXPECT_EQ(entries[4].failure->step, PackageStep::Query);
        EXPECT_EQ(entries[4].failure->error, 1615U);
        EXPECT_EQ(entries[2].link->patchCode, GetPatchCode(3));
        EXPECT_EQ(entries[2].link->targetProductCode, kProduct);
        EXPECT_EQ(entries[5].outcome, RemovalOutcome::Deleted);
        EXPECT_EQ(entries[6].outcome, RemovalOutcome::DeleteFailed);
    });
}

}  // namespace
}  // namespace saltrove
