#include "cleanup/linked_cleanup.h"

#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;

struct PhaseResult {
    bool isDone = false;
    bool patchesCleaned = true;
    std::string log;
};

PhaseResult RunPhase(Machine& machine, const std::u16string& version, bool simulate = false) {
    PhaseResult result;
    RunWithLog(machine, [&] {
        result.isDone = CleanupLinkedPatches(version, kProduct, result.patchesCleaned, simulate);
    });
    result.log = LogText(machine);
    return result;
}

const std::string kOpening = "\n========== Phase 2: Linked Patch Cleanup ==========\n";

TEST(LinkedCleanup, GivesUpWithoutABoundaryAndTouchesNothing) {
    const struct {
        const char* name;
        const char16_t* version;
        std::vector<Patch> patches;
        const char* lines;
    } cases[] = {
        {"NoPatches",
         u"1.2.3",
         {},
         "Found 0 installed patches\nUnable to determine patch type\n\n"
         "Current applied patch type: Unknown\n\n"
         "[SKIP CLEANUP] Unable to determine current patch type.\n"
         "Cannot safely determine which patches to preserve.\n"
         "Skipping cleanup to avoid deleting patches that should be kept.\n"},
        {"CurrentWithoutNumber",
         u"1.2.3.4",
         {{1, u"(1.2.3)", u"Upd", u"a"}, {1, u"(1.2.3)", u"2400120604", u"b"}},
         "Found 2 installed patches\nCurrent applied patch is Cumulative: Upd\n\n"
         "Current applied patch type: Cumulative\n"
         "Current applied patch version number (10-digit): \n\n"
         "[SKIP CLEANUP] Could not find applied patch matching current product version.\n"
         "Cannot determine correct preservation boundaries.\n"},
        {"CurrentWithAnotherBitInItsState",
         u"1.2.3",
         {{3, u"(1.2.3)", u"2400120604", u"a"}},
         "Found 1 installed patches\nCurrent applied patch is Cumulative: 2400120604\n\n"
         "Current applied patch type: Cumulative\n\n"
         "[SKIP CLEANUP] Could not find applied patch matching current product version.\n"
         "Cannot determine correct preservation boundaries.\n"},
        {"IncrementalWithoutBase",
         u"1.2.3",
         {{1, u"(1.2.3)", u"2400120604_incr", u"a"}, {2, u"(1.2.3)", u"2400120605", u"b"}},
         "Found 2 installed patches\nCurrent applied patch is Incremental: 2400120604_incr\n\n"
         "Current applied patch type: Incremental\n"
         "Current applied patch version number (10-digit): 2400120604\n"
         "Last applied cumulative patch: Not found\n\n"
         "[SKIP CLEANUP] Current patch is incremental but no cumulative base found.\n"
         "Cannot safely clean incremental patches without a cumulative base.\n"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        Machine machine = MakeMachine();
        int number = 0;
        for (const Patch& patch : row.patches)
            AddPatch(machine, number++, patch);
        const std::string cache = CacheText(machine);
        const PhaseResult result = RunPhase(machine, row.version);
        EXPECT_FALSE(result.isDone);
        EXPECT_FALSE(result.patchesCleaned);
        EXPECT_EQ(result.log, kOpening + row.lines);
        EXPECT_EQ(StoreText(machine), "");
        EXPECT_EQ(CacheText(machine), cache);
    }
}

TEST(LinkedCleanup, ALonelyCumulativePatchIsKeptAndTheRunRecorded) {
    Machine machine = MakeMachine();
    machine.registry.SetDword(kStore, u"AffectedMachine", 1);
    AddPatch(machine, 0, {1, u"(1.2.3)", u"2400120604", u"a.msp"});
    const PhaseResult result = RunPhase(machine, u"1.2.3");
    EXPECT_TRUE(result.isDone);
    EXPECT_FALSE(result.patchesCleaned);
    EXPECT_EQ(result.log, kOpening + "Found 1 installed patches\n"
                                     "Current applied patch is Cumulative: 2400120604\n\n"
                                     "Current applied patch type: Cumulative\n"
                                     "Current applied patch version number (10-digit): 2400120604\n"
                                     "Last applied cumulative patch: Not found\n\n"
                                     "[CUMULATIVE MODE] Will preserve:\n"
                                     "  - Current cumulative patch: 1.2.3\n"
                                     "  - No previous cumulative to preserve\n\n"
                                     "Latest overall patch version: 2400120604\n\n"
                                     "Evaluating 1 patches...\n\n"
                                     "Patch: 1.2.3 (a.msp)\n"
                                     "  State: Applied, Type: Cumulative\n"
                                     "  [SKIP] Patch still applied\n\n"
                                     "Linked Patch Cleanup Summary:\n"
                                     "  - Total evaluated: 1\n"
                                     "  - Preserved: 1\n"
                                     "  - Not present on disk: 0\n"
                                     "  - Deleted: 0\n"
                                     "  - Marked for deletion on reboot: 0\n");
    EXPECT_EQ(StoreText(machine), "AffectedMachine=dword:00000000\n"
                                  "CleanupTime=dword:6afd55c6\n"
                                  "PatchMarkForDeletionList=\"\"\n");
}

/// The log's lines about one patch, from its name to the blank line.
std::string LinesAbout(const std::string& log, const std::string& file) {
    const std::size_t first = log.find("(" + file + ")\n") + file.size() + 3;
    return log.substr(first, log.find("\n\n", first) - first);
}

TEST(LinkedCleanup, GuardsStandBeforeEveryRemoval) {
    for (const bool simulate : {false, true}) {
        Machine machine = MakeMachine();
        AddPatch(machine, 0, {1, u"(2.0.1)", u"2500120900", u"current.msp"});
        AddPatch(machine, 1, {2, u"(1.9.9)", u"2400120899", u"base.msp"});
        AddPatch(machine, 2, {2, u"(1.1)", u"2400120601", u"outside.msp"});
        AddPatch(machine, 3, {2, u"(1.1)", u"2400120602", u"missing.msp"});
        AddPatch(machine, 4, {2, u"none", u"2400120603", u"Capitals.MSP"});
        AddPatch(machine, 5, {2, u"(1.1)", u"", u"nameless.msp"});
        AddPatch(machine, 6, {2, u"(1.1)", u"2400120604", u"stuck.msp"});
        AddPatch(machine, 7, {2, u"(1.1)", u"2400120605", u"held.msp"});
        AddPatch(machine, 8, {2, u"(1.1)", u"2400120606", u"no path.msp"});
        machine.registry.SetText(PackageKey(2), u"LocalPackage", u"D:\\outside.msp");
        machine.drive.Remove(kCache + u"missing.msp");
        machine.registry.RemoveValue(StateKey(4), u"State");
        machine.registry.SetText(PackageKey(4), u"LocalPackage",
                                 u"C:\\WINDOWS\\Installer\\Capitals.MSP");
        machine.registry.SetText(PackageKey(8), u"LocalPackage", u"");
        AddFault(machine, "DeleteFileW", kCache + u"stuck.msp", 19);
        AddFault(machine, "DeleteFileW", kCache + u"held.msp", 5);
        AddFault(machine, "MoveFileExW", kCache + u"held.msp", 8);
        const PhaseResult result = RunPhase(machine, u"2.0.1.77", simulate);
        EXPECT_TRUE(result.isDone);
        EXPECT_EQ(result.patchesCleaned, !simulate);
        const std::string would = "  State: Superseded, Type: Cumulative\n"
                                  "  [SIMULATION] Would delete";
        EXPECT_EQ(LinesAbout(result.log, "outside.msp"), "  State: Superseded, Type: Cumulative");
        EXPECT_EQ(LinesAbout(result.log, "missing.msp"),
                  "  State: Superseded, Type: Cumulative\n"
                  "  [SKIP] Not present in path, hence not marking for deletion");
        EXPECT_NE(
            result.log.find("Patch:  (Capitals.MSP)\n  State: Unknown(0), Type: Cumulative\n"),
            std::string::npos);
        EXPECT_EQ(LinesAbout(result.log, "nameless.msp"),
                  "  State: Superseded, Type: Unknown\n"
                  "  [SKIP] Missing versionNumber - cannot safely classify/order (preserving by "
                  "default)\n"
                  "  [NOTE] PackageName also missing (registry metadata unavailable)");
        EXPECT_EQ(LinesAbout(result.log, "stuck.msp"),
                  simulate ? would
                           : "  State: Superseded, Type: Cumulative\n"
                             "  [DELETE FAILED] Error code: 19");
        EXPECT_EQ(LinesAbout(result.log, "held.msp"),
                  simulate ? would
                           : "  State: Superseded, Type: Cumulative\n"
                             "  [DELETE FAILED] Error code: 5\n"
                             "  [MARK FAILED] MoveFileEx error code: 8");
        EXPECT_NE(result.log.find(simulate ? "  - Total evaluated: 9\n  - Preserved: 3\n"
                                             "  - Not present on disk: 1\n  - Deleted: 3\n"
                                           : "  - Total evaluated: 9\n  - Preserved: 3\n"
                                             "  - Not present on disk: 1\n  - Deleted: 1\n"),
                  std::string::npos)
            << result.log;
        EXPECT_EQ(StoreText(machine).find("PatchMarkForDeletionList=\"Capitals.MSP\"\n") ==
                      std::string::npos,
                  simulate);
        EXPECT_EQ(CacheText(machine).find("Capitals.MSP") == std::string::npos, !simulate);
    }
}

}  // namespace
}  // namespace saltrove
