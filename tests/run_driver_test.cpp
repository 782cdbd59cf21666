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

/// The packages 2.msp to 5.msp, which the product needs, as far as they are gone or will go.
std::string FindLostPackages(const Machine& machine) {
    std::string lost;
    for (const char16_t* name : {u"2.msp", u"3.msp", u"4.msp", u"5.msp"}) {
        const auto renames = platform::simulated::ReadPendingRenames(machine.registry);
        const bool isMarked = std::any_of(renames.begin(), renames.end(), [&](const auto& rename) {
            return rename.path == kCache + name;
        });
        if (isMarked || machine.drive.Find(kCache + name) == nullptr)
            lost += platform::simulated::EncodeUtf8(name) + " ";
    }
    return lost;
}

// What a needed package rests on: where the list of all products breaks off or lacks a path, a
// package that the product needs counts as an orphan.
const std::map<std::string, std::string> kLosses = {
    {"late MsiEnumPatchesExW 0", "2.msp 3.msp 4.msp 5.msp "},
    {"late MsiEnumPatchesExW 1", "2.msp 3.msp 4.msp 5.msp "},
    {"late MsiEnumPatchesExW 2", "2.msp 3.msp 4.msp 5.msp "},
    {"late MsiEnumPatchesExW 3", "3.msp 4.msp 5.msp "},
    {"late MsiEnumPatchesExW 4", "4.msp 5.msp "},
    {"late MsiEnumPatchesExW 5", "5.msp "},
    {"late MsiGetPatchInfoExW {12345678-9ABC-DEF0-1234-56789ABCDE20}\\LocalPackage", "2.msp "},
    {"late MsiGetPatchInfoExW {12345678-9ABC-DEF0-1234-56789ABCDE30}\\LocalPackage", "3.msp "},
    {"late MsiGetPatchInfoExW {12345678-9ABC-DEF0-1234-56789ABCDE40}\\LocalPackage", "4.msp "},
    {"late MsiGetPatchInfoExW {12345678-9ABC-DEF0-1234-56789ABCDE50}\\LocalPackage", "5.msp "},
};

TEST(RunDriver, WhicheverCallFailsNothingLeaksAndNeededPackagesGoInKnownCasesOnly) {
    const Machine intact = MakeIncrementalMachine();
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
            if (const std::string lost = FindLostPackages(machine); !lost.empty())
                losses[DescribeCall(machine.calls, failing - 1)] += lost;
        }
        EXPECT_EQ(losses, forGood ? decltype(losses)() : kLosses);
        EXPECT_GT(failing, 200U) << "the loop has to go through a whole run";
    }
}

}  // namespace
}  // namespace saltrove
