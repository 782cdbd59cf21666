#include "records/current_patch.h"

#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;

constexpr const char* kUnable = "Unable to determine patch type\n";

struct DetectionCase {
    const char* name;
    const char16_t* productVersion;
    std::vector<Patch> patches;
    const char* lines;
};

TEST(CurrentPatch, IsTheFirstAppliedOneOfTheVersionWithAPackageName) {
    const DetectionCase cases[] = {
        {"None", u"1.2.3", {}, kUnable},
        {"OfFourPartsGiven",
         u"1.2.3.4",
         {{1, u"(1.2.3)", u"a_incr", u"a"}},
         "Current applied patch is Incremental: a_incr\n"},
        {"FourPartsInTheDisplayName", u"1.2.3.4", {{1, u"(1.2.3.4)", u"a", u"a"}}, kUnable},
        {"NotApplied", u"1.2.3", {{2, u"(1.2.3)", u"a", u"a"}}, kUnable},
        {"FirstOfTwo",
         u"1.2.3",
         {{1, u"(1.2.3)", u"a", u"a"}, {1, u"(1.2.3)", u"b_incr", u"b"}},
         "Current applied patch is Cumulative: a\n"},
        {"LeadingZero", u"1.02.3", {{1, u"(1.2.3)", u"a", u"a"}}, kUnable},
        {"Capitals",
         u"1.2.3",
         {{1, u"(1.2.3)", u"a_INCR", u"a"}},
         "Current applied patch is Cumulative: a_INCR\n"},
        {"EmptyVersion",
         u"",
         {{1, u"no version", u"a", u"a"}},
         "Current applied patch is Cumulative: a\n"},
        {"EmptyPackageName",
         u"1.2.3",
         {{1, u"(1.2.3)", u"", u"a"}},
         "Current applied patch is Cumulative: \n"},
        {"StateWithMoreBits",
         u"1.2.3",
         {{3, u"(1.2.3)", u"a", u"a"}},
         "Current applied patch is Cumulative: a\n"},
    };
    for (const DetectionCase& row : cases) {
        SCOPED_TRACE(row.name);
        Machine machine = MakeMachine();
        int number = 0;
        for (const Patch& patch : row.patches)
            AddPatch(machine, number++, patch);
        std::u16string type;
        RunWithLog(machine, [&] { type = GetCurrentPatchType(row.productVersion, kProduct); });
        EXPECT_EQ(LogText(machine), row.lines);
        EXPECT_NE(LogText(machine).find(type == u"Unknown"       ? "Unable"
                                        : type == u"Incremental" ? "Incremental:"
                                                                 : "Cumulative:"),
                  std::string::npos);
    }
}

TEST(CurrentPatch, PassesOverWhatItCannotRead) {
    Machine machine = MakeMachine();
    for (int number = 0; number < 5; ++number)
        AddPatch(machine, number, {1, u"(1.2.3)", u"Upd", u"a"});
    machine.registry.RemoveKey(SourceListKey(0));
    machine.registry.RemoveValue(SourceListKey(1), u"PackageName");
    machine.registry.RemoveValue(PackageKey(2), u"LocalPackage");
    machine.registry.RemoveValue(StateKey(3), u"DisplayName");
    RunWithLog(machine, [] { EXPECT_EQ(GetCurrentPatchType(u"1.2.3", kProduct), kCumulative); });
    EXPECT_EQ(LogText(machine), "  [WARN] Failed to get display name for patch: "
                                "{12345678-9ABC-DEF0-1234-56789ABCDE30}\n"
                                "Current applied patch is Cumulative: Upd\n");
}

TEST(CurrentPatch, MarkerGoesToTheAccountOfTheProcess) {
    Machine machine = MakeMachine();
    machine.process.account = u"S-1-5-21-1-2-3-1001";
    machine.recordsCalls = true;
    RunWithLog(machine, [] { LogPatchMarker(kProduct); });
    const std::u16string key =
        u"HKEY_USERS\\S-1-5-21-1-2-3-1001\\SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR\\KXPrivate";
    EXPECT_EQ(platform::simulated::DwordIn(machine.registry.FindValue(key, u"iLogPatchData")), 1U);
    EXPECT_EQ(machine.registry.AllKeys().Children(u"HKEY_USERS").size(), 1U);
    const auto created = std::find_if(machine.calls.begin(), machine.calls.end(),
                                      [](auto& call) { return call.call == "RegCreateKeyExW"; });
    EXPECT_EQ(created->numbers, (std::vector<std::uint64_t>{0, 0x102}));
    EXPECT_EQ(LogBytes(machine), "(no log)");
}

TEST(CurrentPatch, MarkerOfAnUnknownProductLeavesNoTrace) {
    Machine machine;
    RunWithLog(machine, [&] {
        const auto generation = machine.registry.Generation();
        LogPatchMarker(u"{5B7A90E1-0000-0000-0000-EC83016FC300}");
        EXPECT_EQ(machine.registry.Generation(), generation);
        EXPECT_EQ(machine.CallCount("RegCreateKeyExW"), 0U);
    });
}

}  // namespace
}  // namespace saltrove
