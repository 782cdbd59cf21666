#include "cleanup/orphan_cleanup.h"

#include "support/machines.h"
#include "support/package_writer.h"

#include <gtest/gtest.h>

// The phase's logs and records are the images whose names begin with "orphans".

namespace saltrove {
namespace {

using namespace test;

const std::string kOrphan = WritePackage(MakePackage({{"Description", "Kelvane Ostrel"}}));

TEST(OrphanCleanup, AnOrphanIsAFileThatNothingLinksToAndThatNamesTheFamily) {
    const LinkedPackages linked = {u"c:\\windows\\installer\\linked.msp"};
    const std::u16string free = u"c:\\windows\\installer\\free.msp";
    const struct {
        const char* name;
        DWORD attributes;
        std::u16string path;
        std::optional<std::u16string> description;
        EntryKind kind;
    } cases[] = {
        {"Directory", 0x10, free, u"kelvane ostrel", EntryKind::Directory},
        {"DirectoryWithMoreBits", 0x13, *linked.begin(), std::nullopt, EntryKind::Directory},
        {"Linked", 0x20, *linked.begin(), u"kelvane ostrel", EntryKind::Linked},
        {"LinkedNeedsNoDescription", 0x20, *linked.begin(), std::nullopt, EntryKind::Linked},
        {"Unlinked", 0x20, free, std::nullopt, EntryKind::NeedsDescription},
        {"NoDescription", 0x20, free, u"", EntryKind::Foreign},
        {"FirstFamily", 0x20, free, u"an update of kelvane ostrel 1.2", EntryKind::Orphan},
        {"SecondFamily", 0x01, free, u"kelvane lumeth", EntryKind::Orphan},
        {"OtherOrder", 0x20, free, u"ostrel lumeth", EntryKind::Foreign},
        {"TwoBlanks", 0x20, free, u"kelvane  ostrel", EntryKind::Foreign},
    };
    for (const auto& row : cases)
        EXPECT_EQ(ClassifyEntry(row.attributes, row.path, linked, row.description), row.kind)
            << row.name;
}

struct Phase {
    std::int32_t orphanCount = 77;
    std::u16string orphanList = u"from before";
    bool patchesCleaned = false;
};

TEST(OrphanCleanup, SetsItsResultsAndOnlyEverSetsTheFlag) {
    for (const bool wasCleaned : {false, true}) {
        Machine machine = MakeIncrementalMachine();
        machine.drive.AddFile(kCache + u"6.msp", kOrphan);
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
    for (const char16_t* name : {u"0.msp", u"1.msp", u"2.msp"})
        machine.drive.AddFile(kCache + name, kOrphan);
    machine.registry.RemoveValue(GetPackageKey(0), u"LocalPackage");
    AddFault(machine, "MsiEnumPatchesExW", u"", 1610, 3, 3);
    Phase phase;
    RunWithLog(machine, [&] {
        CleanupOrphanPatches(phase.orphanCount, phase.orphanList, phase.patchesCleaned, false);
    });
    EXPECT_EQ(phase.orphanList, u"0.msp;2.msp");
    EXPECT_TRUE(phase.patchesCleaned);
    EXPECT_EQ(ReadCacheText(machine), "1.msp 3.msp 4.msp 5.msp");
}

}  // namespace
}  // namespace saltrove
