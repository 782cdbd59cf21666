#include "run/run_driver.h"

#include "platform/simulated/machine/pending_renames.h"
#include "platform/simulated/texts/unicode.h"
#include "support/machines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

// Whole runs, with their logs and records, are the images of samples/ and tests/images.

namespace saltrove {
namespace {

using namespace test;

const std::u16string kVersion = u"24.3.20790.15";

TEST(RunDriver, ElapsedTimesAreWholeMillisecondsCutDown) {
    Machine machine = MakeIncrementalMachine();
    machine.clock.perReading = std::chrono::nanoseconds(1'999'999);
    EXPECT_EQ(RunTool(machine, {kProduct, kVersion}), 0);
    EXPECT_NE(ReadLogText(machine).find("\nPhase 2 execution time: 1 ms\n"), std::string::npos);
    EXPECT_NE(ReadLogText(machine).find("\nPhase 3 execution time: 1 ms\n"), std::string::npos);
    EXPECT_NE(ReadLogText(machine).find("\nTotal execution time: 9 ms\n"), std::string::npos);
}

TEST(RunDriver, WritesItsRecordsInOrderAndHandsPathsOnUnchanged) {
    Machine machine = MakeIncrementalMachine();
    const std::u16string path = u"C:\\WINDOWS\\Installer\\0.MSP";
    machine.registry.SetText(GetPackageKey(0), u"LocalPackage", path);
    EXPECT_EQ(RunTool(machine, {kProduct, kVersion}), 0);
    std::u16string written;
    for (const auto& call : machine.calls) {
        if (call.call == "RegSetValueExW")
            written += call.subject.substr(kStore.size()) + u" ";
        if (call.call == "DeleteFileW" || call.call == "GetFileAttributesW")
            written += call.subject == path ? u"(" + path + u") " : u"";
    }
    EXPECT_EQ(written, u"\\CurrentPatchVersion \\CurrentPatchType (" + path + u") (" + path +
                           u") \\AffectedMachine \\PatchMarkForDeletionList \\CleanupTime "
                           u"\\OrphanPatchCount \\AffectedMachine \\ExitState ");
}

/// The call of a run that was made to fail, as the table below names it; "late" is one behind the
/// first question for the list of all products, which is asked without a product.
std::string DescribeCall(const std::vector<platform::simulated::CallRecord>& calls,
                         std::size_t place) {
    const auto isOfAllProducts = [](const auto& call) {
        return call.call == "MsiEnumPatchesExW" && call.subject.empty();
    };
    const auto failed = calls.begin() + static_cast<std::ptrdiff_t>(place);
    std::string text = std::any_of(calls.begin(), failed + 1, isOfAllProducts) ? "late " : "";
    text += failed->call + " " + platform::simulated::EncodeUtf8(failed->subject);
    return failed->call == "MsiEnumPatchesExW" ? text + std::to_string(failed->numbers[2]) : text;
}

/// The cache when the deletions that wait for the restart have been carried out.
std::string ReadCacheTextAfterRestart(Machine machine) {
    for (const auto& rename : platform::simulated::ReadPendingRenames(machine.registry))
        machine.drive.Remove(rename.path);
    return ReadCacheText(machine);
}

// The calls that cost packages of those that the product needs, 2.msp to 5.msp, and what they
// leave: where the list of all products breaks off or lacks a path, a needed package counts as an
// orphan.
const std::string kLatePath = "late MsiGetPatchInfoExW {12345678-9ABC-DEF0-1234-56789ABCDE";
const std::map<std::string, std::string> kLosses = {
    {"late MsiEnumPatchesExW 0", ""},
    {"late MsiEnumPatchesExW 1", ""},
    {"late MsiEnumPatchesExW 2", ""},
    {"late MsiEnumPatchesExW 3", "2.msp"},
    {"late MsiEnumPatchesExW 4", "2.msp 3.msp"},
    {"late MsiEnumPatchesExW 5", "2.msp 3.msp 4.msp"},
    {kLatePath + "20}\\LocalPackage", "3.msp 4.msp 5.msp"},
    {kLatePath + "30}\\LocalPackage", "2.msp 4.msp 5.msp"},
    {kLatePath + "40}\\LocalPackage", "2.msp 3.msp 5.msp"},
    {kLatePath + "50}\\LocalPackage", "2.msp 3.msp 4.msp"},
};

TEST(RunDriver, WhicheverCallFailsNothingLeaksAndNeededPackagesGoInKnownCasesOnly) {
    // An orphan, a package in use and a signed-in user's shell bring every road of a run with them.
    Machine intact = MakeIncrementalMachine();
    intact.drive.AddFile(kCache + u"6.msp", kOwnPackage);
    AddFault(intact, "DeleteFileW", kCache + u"1.msp", 32);
    intact.sessions = {{1, true}};
    intact.processes = {{4, 1, u"S-1-5-9", u"C:\\other.exe"},
                        {8, 1, u"S-1-5-9", u"C:\\Windows\\explorer.exe"}};
    for (const bool forGood : {false, true}) {
        std::map<std::string, std::string> losses;
        std::size_t failing = 1;
        for (bool wasMet = true; wasMet; ++failing) {
            SCOPED_TRACE(std::to_string(failing) + (forGood ? " and all behind it" : " alone"));
            Machine machine = intact;
            const auto first = static_cast<unsigned>(failing);
            AddFault(machine, "", u"", 5, first, forGood ? 0xFFFFFFFF : first);
            ASSERT_EQ(RunTool(machine, {kProduct, kVersion}), 0);
            wasMet = failing <= machine.calls.size();
            const std::string left = ReadCacheTextAfterRestart(machine);
            const bool isLoss = left.find("2.msp 3.msp 4.msp 5.msp") == std::string::npos;
            ASSERT_TRUE(wasMet || !isLoss) << "no call failed";
            if (isLoss)
                losses[DescribeCall(machine.calls, failing - 1)] = left;
        }
        EXPECT_EQ(losses, forGood ? decltype(losses)() : kLosses);
        EXPECT_GT(failing, 400U) << "the loop has to go through a whole run";
    }
}

}  // namespace
}  // namespace saltrove
