#include "records/cleanup_store.h"

#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;

TEST(CleanupStore, ReducesPathsToFileNames) {
    const struct {
        const char16_t* paths;
        const char16_t* names;
    } cases[] = {
        {u"", u""},
        {u"C:\\Windows\\Installer\\a.msp", u"a.msp"},
        {u"C:\\Windows\\Installer\\a.msp;C:\\Windows\\Installer\\b.msp", u"a.msp;b.msp"},
        {u"a.msp;;C:\\b.msp;", u"a.msp;b.msp"},
        {u"C:\\x;y\\a.msp", u"x;a.msp"},
        {u"C:\\a\\;C:\\b.msp;C:\\c\\", u"b.msp;"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(ReduceToFileNames(row.paths), row.names);
}

TEST(CleanupStore, WithoutItsKeyOnlyTheFirstWriterSaysSo) {
    Machine machine = MakeIncrementalMachine();
    AddFault(machine, "RegCreateKeyExW", kStore, 5);
    RunWithLog(machine, [] {
        LogCurrentPatchInfo(kProduct, u"24.3.20790");
        LogCleanupRecord(kProduct, true, u"C:\\a.msp");
        LogOrphanPatches(kProduct, 1, u"x.msp");
        LogAffectedMachine(kProduct, true);
        LogExitState(kProduct, ExitState::Success);
    });
    EXPECT_EQ(ReadStoreText(machine), "");
    EXPECT_EQ(ReadLogText(machine), "Failed to open registry key for logging current patch info\n");
    EXPECT_EQ(machine.CountCalls("MsiEnumPatchesExW"), 0U);
    EXPECT_EQ(FindNumbers(machine, "RegCreateKeyExW"), (std::vector<std::uint64_t>{0, 0x20006, 0}));
}

}  // namespace
}  // namespace saltrove
