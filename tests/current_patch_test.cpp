#include "records/current_patch.h"

#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;

TEST(CurrentPatch, IsAnAppliedOneOfTheVersion) {
    const struct {
        const char* name;
        const char16_t* productVersion;
        DWORD state;
        const char16_t* displayName;
        const char16_t* packageName;
        PatchType type;
    } cases[] = {
        {"FourPartsInTheDisplayName", u"1.2.3.4", 1, u"(1.2.3.4)", u"a", kUnknownType},
        {"StateWithMoreBits", u"1.2.3", 3, u"(1.2.3)", u"a", kCumulative},
        {"LeadingZero", u"1.02.3", 1, u"(1.2.3)", u"a", kUnknownType},
        {"Capitals", u"1.2.3", 1, u"(1.2.3)", u"a_INCR", kCumulative},
        {"EmptyVersion", u"", 1, u"no version", u"a", kCumulative},
        {"EmptyPackageName", u"1.2.3", 1, u"(1.2.3)", u"", kCumulative},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        Machine machine = MakeMachine();
        AddPatch(machine, 0, {row.state, row.displayName, row.packageName, u"a"});
        RunWithLog(machine,
                   [&] { EXPECT_EQ(GetCurrentPatchType(row.productVersion, kProduct), row.type); });
    }
}

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
