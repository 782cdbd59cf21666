#include "run/run_driver.h"

#include "support/machines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>

namespace saltrove {
namespace {

using namespace test;

const std::u16string kVersion = u"24.3.20790.15";

const std::string kBanner = "========== Saltrove.exe Started ==========\n"
                            "ProductCode: {5B7A90E1-4D2E-4C19-8A54-EC83016FC300}\n"
                            "ProductVersion: 24.3.20790.15\n"
                            "Mode: Normal\n"
                            "Current applied patch is Incremental: Upd2400320790_incr.msp\n"
                            "Logged current patch info - Version: 24.3.20790.15, Type: "
                            "Incremental\n\n"
                            "========== Phase 1: Eligibility Checks ==========\n";
const std::string kPolicyLookUp =
    "GetPatchCleanupFeatureLockState: Checking registry at "
    "SOFTWARE\\Policies\\Kelvane\\Kelvane Ostrel\\ZR\\FeatureLockDown\n";
const std::string kNoPolicy =
    kPolicyLookUp + "FeatureLockDown registry key not found. Falling back to default behavior.\n"
                    "FeatureLockDown: Not set\n";
const std::string kEligible = "Cleanup duration check: PASSED\n"
                              "GetIRandomFromRegistry: Reading iRandom from "
                              "SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR\\WebResource\n"
                              "GetIRandomFromRegistry: iRandom = 4000\n"
                              "iRandom: 4000\n"
                              "Eligible for cleanup based on iRandom sampling.\n"
                              "User eligibility check: PASSED\n"
                              "Eligibility: PASSED\n";
const std::string kStoredAtTheStart = "CurrentPatchType=\"Incremental\"\n"
                                      "CurrentPatchVersion=\"24.3.20790.15\"\n";

TEST(RunDriver, AWrongNumberOfArgumentsEndsItBeforeAnything) {
    for (const std::size_t count : {0U, 1U, 4U, 5U}) {
        Machine machine = MakeIncrementalMachine();
        const auto generation = machine.registry.Generation();
        EXPECT_EQ(RunTool(machine, std::vector<std::u16string>(count, u"x")), 1);
        EXPECT_TRUE(machine.callCounts.empty());
        EXPECT_EQ(machine.registry.Generation(), generation);
    }
}

TEST(RunDriver, WithoutTheInstallerItRecordsThatAndNothingElse) {
    const platform::simulated::MissingExport missing[] = {
        {u"msi.dll", ""}, {u"MSI.DLL", "MsiEnumPatchesExW"}, {u"msi.dll", "MsiGetPatchInfoExW"}};
    for (const auto& entry : missing) {
        for (const std::u16string& version : {kVersion, std::u16string(u"usercontext")}) {
            SCOPED_TRACE(entry.function);
            Machine machine = MakeIncrementalMachine();
            machine.missing.push_back(entry);
            EXPECT_EQ(RunTool(machine, {kProduct, version}), 0);
            EXPECT_EQ(StoreText(machine), "ExitState=dword:00000002\n");
            EXPECT_EQ(LogBytes(machine), "(no log)");
            EXPECT_TRUE(machine.registry.AllKeys().Children(u"HKEY_USERS").empty());
        }
    }
}

TEST(RunDriver, UserContextSetsTheMarkerAndNothingElse) {
    for (const bool hasFourth : {false, true}) {
        Machine machine = MakeIncrementalMachine();
        std::vector<std::u16string> arguments = {kProduct, u"usercontext"};
        if (hasFourth)
            arguments.emplace_back(u"simulate");
        EXPECT_EQ(RunTool(machine, arguments), 0);
        EXPECT_EQ(StoreText(machine), "");
        EXPECT_EQ(LogBytes(machine), "(no log)");
        EXPECT_EQ(machine.CallCount("RegSetValueExW"), 1U);
        EXPECT_EQ(machine.CallCount("ReadSteadyClock"), 0U);
    }
    Machine machine = MakeIncrementalMachine();
    EXPECT_EQ(RunTool(machine, {kProduct, u"UserContext"}), 0);
    EXPECT_EQ(StoreText(machine), "CurrentPatchType=\"Unknown\"\n"
                                  "CurrentPatchVersion=\"UserContext\"\n"
                                  "ExitState=dword:00000006\n")
        << "in another case the word is a version";
}

struct RefusalCase {
    const char* name;
    void (*arrange)(Machine& machine);
    std::string lines;  ///< behind those of the banner
    std::string exitState;
};

TEST(RunDriver, ARefusedRunSaysWhyAndStartsNoInterval) {
    const RefusalCase cases[] = {
        {"Policy",
         [](Machine& machine) { machine.registry.SetDword(kPolicy, u"PatchCleanFlag", 0); },
         kPolicyLookUp + "FeatureLockDown: PatchCleanupEnabled is set to 0 (Disabled).\n"
                         "FeatureLockDown: Disabled\n"
                         "Eligibility: FAILED (Patch cleanup disabled via policy)\n",
         "3"},
        {"Interval",
         [](Machine& machine) { machine.registry.SetDword(kStore, u"CleanupTime", kNow - 1); },
         kNoPolicy + "Cleanup duration check: FAILED (less than 3 months since last cleanup)\n"
                     "Eligibility: FAILED\n",
         "4"},
        {"Sample",
         [](Machine& machine) {
             machine.registry.RemoveValue(kRoot + u"\\WebResource", u"iRandom");
         },
         kNoPolicy + "Cleanup duration check: PASSED\n"
                     "GetIRandomFromRegistry: Reading iRandom from "
                     "SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR\\WebResource\n"
                     "RegQueryValueExW failed for iRandom in: "
                     "SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR\\WebResource (Error 2)\n"
                     "User eligibility check: FAILED (not in eligible sample)\n"
                     "Eligibility: FAILED\n",
         "5"},
    };
    for (const RefusalCase& row : cases) {
        SCOPED_TRACE(row.name);
        Machine machine = MakeIncrementalMachine();
        row.arrange(machine);
        const std::string before = StoreText(machine);
        EXPECT_EQ(RunTool(machine, {kProduct, kVersion}), 0);
        EXPECT_EQ(LogText(machine),
                  kBanner + row.lines + "Logged exit state: " + row.exitState + "\n");
        EXPECT_EQ(StoreText(machine),
                  before + kStoredAtTheStart + "ExitState=dword:0000000" + row.exitState + "\n");
        EXPECT_EQ(CacheText(machine), "0.msp 1.msp 2.msp 3.msp 4.msp 5.msp");

        EXPECT_EQ(RunTool(machine, {kProduct, kVersion, u"simulate"}), 0);
        EXPECT_EQ(LogText(machine).find("[SIMULATION MODE]"), std::string::npos);
    }
}

TEST(RunDriver, AnUnknownTrackGoesThroughTheTestsAndFailsTheSample) {
    Machine machine = MakeMachine();
    const std::u16string trunk = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Kelvane\\Kelvane Ostrel\\Trunk";
    machine.registry.SetDword(trunk + u"\\Cleanup", u"EnablePatchCleanuplog", 1);
    EXPECT_EQ(RunTool(machine, {u"4D2E", u"1.2"}), 0);
    EXPECT_EQ(LogText(machine),
              "========== Saltrove.exe Started ==========\n"
              "ProductCode: 4D2E\nProductVersion: 1.2\nMode: Normal\n"
              "Unable to determine patch type\n"
              "Logged current patch info - Version: 1.2, Type: Unknown\n\n"
              "========== Phase 1: Eligibility Checks ==========\n"
              "GetPatchCleanupFeatureLockState: Unknown product track from ProductCode.\n"
              "FeatureLockDown: Not set\nCleanup duration check: PASSED\n"
              "IsExpEnableForUser: Unknown product track from ProductCode.\n"
              "User eligibility check: FAILED (not in eligible sample)\nEligibility: FAILED\n"
              "Logged exit state: 5\n");
}

TEST(RunDriver, AForcingPolicySkipsIntervalAndSample) {
    Machine machine = MakeIncrementalMachine();
    machine.registry.SetDword(kPolicy, u"PatchCleanFlag", 1);
    machine.registry.SetDword(kStore, u"CleanupTime", kNow - 1);
    machine.registry.SetDword(kRoot + u"\\WebResource", u"iRandom", 1);
    EXPECT_EQ(RunTool(machine, {kProduct, kVersion}), 0);
    EXPECT_NE(LogText(machine).find(kPolicyLookUp +
                                    "FeatureLockDown: PatchCleanupEnabled is set to 1 (Enabled).\n"
                                    "FeatureLockDown: Enabled (bypassing other checks)\n"
                                    "Eligibility: PASSED\n\n"
                                    "========== Phase 2: Linked Patch Cleanup ==========\n"),
              std::string::npos);
    EXPECT_EQ(CacheText(machine), "2.msp 3.msp 4.msp 5.msp");
}

const std::string kBoundaries = "Found 6 installed patches\n"
                                "Current applied patch is Incremental: Upd2400320790_incr.msp\n\n"
                                "Current applied patch type: Incremental\n"
                                "Current applied patch version number (10-digit): 2400320790\n"
                                "Last applied cumulative patch version: 2400220687\n\n"
                                "[INCREMENTAL MODE] Will preserve:\n"
                                "  - Current incremental patch: 24.3.20790.15\n"
                                "  - Last applied cumulative: 2400220687\n"
                                "  - All incremental patches between cumulative and current\n\n"
                                "Latest overall patch version: 2400420842\n\n"
                                "Evaluating 6 patches...\n\n";
const std::string kKept = "Patch: 24.2.20687 (2.msp)\n"
                          "  State: Superseded, Type: Cumulative\n"
                          "  [SKIP] Last applied cumulative (base for incremental)\n\n"
                          "Patch: 24.2.20736 (3.msp)\n"
                          "  State: Superseded, Type: Incremental\n"
                          "  [SKIP] Incremental patch between base and current\n\n"
                          "Patch: 24.3.20790 (4.msp)\n"
                          "  State: Applied, Type: Incremental\n"
                          "  [SKIP] Patch still applied\n\n"
                          "Patch: 24.4.20842 (5.msp)\n"
                          "  State: Registered, Type: Incremental\n"
                          "  [SKIP] Latest overall patch (backup)\n\n";

TEST(RunDriver, AWholeRunRemovesAndRecords) {
    Machine machine = MakeIncrementalMachine();
    machine.clock.perReading = std::chrono::nanoseconds(1'999'999);
    AddFault(machine, "DeleteFileW", kCache + u"1.msp", 32);
    EXPECT_EQ(RunTool(machine, {kProduct, kVersion, u"simulated"}), 0);
    EXPECT_EQ(LogText(machine), kBanner + kNoPolicy + kEligible + "\n" +
                                    "========== Phase 2: Linked Patch Cleanup ==========\n" +
                                    kBoundaries +
                                    "Patch: 24.1.20604 (0.msp)\n"
                                    "  State: Superseded, Type: Cumulative\n"
                                    "  [DELETED] Successfully deleted\n\n"
                                    "Patch: 24.1.20613 (1.msp)\n"
                                    "  State: Superseded, Type: Incremental\n"
                                    "  [DELETE FAILED] Error code: 32\n"
                                    "  [MARKED FOR DELETION] Scheduled for deletion on reboot\n\n" +
                                    kKept +
                                    "Linked Patch Cleanup Summary:\n"
                                    "  - Total evaluated: 6\n"
                                    "  - Preserved: 4\n"
                                    "  - Not present on disk: 0\n"
                                    "  - Deleted: 1\n"
                                    "  - Marked for deletion on reboot: 1\n"
                                    "Phase 2 execution time: 1 ms\n"
                                    "Updating AffectedMachine registry (patches were cleaned)\n\n"
                                    "========== Cleanup Completed Successfully ==========\n"
                                    "Total execution time: 5 ms\n"
                                    "Exit State: 0 (Success)\n"
                                    "Logged exit state: 0\n");
    EXPECT_EQ(StoreText(machine), "AffectedMachine=dword:00000001\n"
                                  "CleanupTime=dword:6afd55c6\n" +
                                      kStoredAtTheStart +
                                      "ExitState=dword:00000000\n"
                                      "PatchMarkForDeletionList=\"0.msp;1.msp\"\n");
    EXPECT_EQ(CacheText(machine), "1.msp 2.msp 3.msp 4.msp 5.msp");
}

TEST(RunDriver, ASimulationDecidesTheSameAndTouchesNothing) {
    Machine machine = MakeIncrementalMachine();
    machine.drive.Remove(kCache + u"1.msp");
    EXPECT_EQ(RunTool(machine, {kProduct, kVersion, u"SiMuLaTe"}), 0);
    std::string banner = kBanner;
    banner.replace(banner.find("Normal"), 6, "SIMULATION (no actual deletions)");
    EXPECT_EQ(LogText(machine),
              banner + kNoPolicy + kEligible + "\n" +
                  "========== Phase 2: Linked Patch Cleanup (SIMULATION MODE) ==========\n" +
                  kBoundaries +
                  "Patch: 24.1.20604 (0.msp)\n"
                  "  State: Superseded, Type: Cumulative\n"
                  "  [SIMULATION] Would delete\n\n"
                  "Patch: 24.1.20613 (1.msp)\n"
                  "  State: Superseded, Type: Incremental\n"
                  "  [SKIP] Not present in path, hence not marking for deletion\n\n" +
                  kKept +
                  "Linked Patch Cleanup Summary:\n"
                  "  - Total evaluated: 6\n"
                  "  - Preserved: 4\n"
                  "  - Not present on disk: 1\n"
                  "  - Deleted: 1\n"
                  "  - Marked for deletion on reboot: 0\n"
                  "[SIMULATION MODE] Registry not modified\n!\n"
                  "Phase 2 execution time: 0 ms\n\n"
                  "========== Cleanup Completed Successfully ==========\n"
                  "Total execution time: 0 ms\n"
                  "Exit State: 0 (Success)\n"
                  "[SIMULATION MODE] No files were actually deleted\n"
                  "Logged exit state: 0\n");
    EXPECT_EQ(StoreText(machine), kStoredAtTheStart + "ExitState=dword:00000000\n");
    EXPECT_EQ(CacheText(machine), "0.msp 2.msp 3.msp 4.msp 5.msp");
    EXPECT_EQ(machine.CallCount("DeleteFileW") + machine.CallCount("MoveFileExW"), 0U);
}

TEST(RunDriver, ALogThatEndsEarlyChangesNothingElse) {
    Machine machine = MakeIncrementalMachine();
    machine.registry.SetText(PackageKey(0), u"LocalPackage", kCache + u"0.msp");
    AddPatch(machine, 6, {2, u"Update (1.2)", u"\u4E2D2300120604.msp", u"\u4E2D.msp"});
    EXPECT_EQ(RunTool(machine, {kProduct, kVersion}), 0);
    EXPECT_TRUE(LogText(machine).ends_with("\nPatch: 1.2 (\n")) << LogText(machine);
    EXPECT_NE(
        StoreText(machine).find("ExitState=dword:00000000\n"
                                "PatchMarkForDeletionList=\"0.msp;1.msp;\xE4\xB8\xAD.msp\"\n"),
        std::string::npos);
}

/// Whether every file that a faultless run keeps is still there.
bool KeepsWhatIsNeeded(const Machine& machine) {
    std::istringstream names("2.msp 3.msp 4.msp 5.msp");
    const std::string cache = CacheText(machine);
    return std::all_of(std::istream_iterator<std::string>(names), {},
                       [&](const auto& name) { return cache.find(name) != std::string::npos; });
}

TEST(RunDriver, WhicheverCallFailsNothingLeaksAndNothingNeededGoes) {
    for (const bool forGood : {false, true}) {
        unsigned failing = 1;
        for (bool wasMet = true; wasMet; ++failing) {
            SCOPED_TRACE(std::to_string(failing) + (forGood ? " and all behind it" : " alone"));
            Machine machine = MakeIncrementalMachine();
            AddFault(machine, "", u"", 5, failing, forGood ? 0xFFFFFFFF : failing);
            ASSERT_EQ(RunTool(machine, {kProduct, kVersion}), 0);
            ASSERT_TRUE(KeepsWhatIsNeeded(machine)) << CacheText(machine);
            unsigned calls = 0;
            for (const auto& [name, count] : machine.callCounts)
                calls += count;
            wasMet = failing <= calls;
        }
        EXPECT_GT(failing, 200U) << "the loop has to go through a whole run";
    }
}

}  // namespace
}  // namespace saltrove
