#include "run/run_driver.h"

#include "support/machines.h"

#include <gtest/gtest.h>

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
    EXPECT_EQ(FindNumbers(machine, "RegCreateKeyExW"), (std::vector<std::uint64_t>{0, 0x20006, 0}));
}

}  // namespace
}  // namespace saltrove
