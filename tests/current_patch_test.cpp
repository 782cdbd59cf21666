#include "records/current_patch.h"

#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;

TEST(CurrentPatch, MarkerAsksForNoMoreThanItNeeds) {
    Machine machine = MakeMachine();
    RunWithLog(machine, [] {
        LogPatchMarker(u"of no product");
        LogPatchMarker(kProduct);
    });
    EXPECT_EQ(machine.CountCalls("RegCreateKeyExW"), 1U);
    EXPECT_EQ(FindNumbers(machine, "RegCreateKeyExW"), (std::vector<std::uint64_t>{0, 0x102, 0}));
}

}  // namespace
}  // namespace saltrove
