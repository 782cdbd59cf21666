#include "cleanup/linked_cleanup.h"

#include "support/machines.h"

#include <gtest/gtest.h>

#include <iterator>
#include <utility>

// The phase's logs and records are tested by whole runs on images.

namespace saltrove {
namespace {

using namespace test;

TEST(LinkedCleanup, TellsOfEachPatchItsRecordItsFateAndWhatCameOfIt) {
    Machine machine = MakeIncrementalMachine();
    AddPatch(machine, 6, {2, u"", u"Upd2400120615.msp", u"6.msp"});
    AddPatch(machine, 7, {2, u"", u"Upd2400120616.msp", u"7.msp"});
    AddPatch(machine, 8, {2, u"", u"Upd2400120617.msp", u"8.msp"});
    machine.registry.SetText(GetPackageKey(6), u"LocalPackage", u"D:\\6.msp");
    AddFault(machine, "GetFileAttributesW", kCache + u"7.msp", 5);  // any failure is absence
    AddFault(machine, "DeleteFileW", kCache + u"1.msp", 32);
    AddFault(machine, "DeleteFileW", kCache + u"8.msp", 2);
    const std::pair<Fate, std::optional<RemovalOutcome>> expected[] = {
        {Fate::Remove, RemovalOutcome::Deleted},
        {Fate::Remove, RemovalOutcome::Marked},
        {Fate::KeepBase, {}},
        {Fate::KeepBetween, {}},
        {Fate::KeepApplied, {}},
        {Fate::KeepLatest, {}},
        {Fate::LeaveOutsideCache, {}},
        {Fate::LeaveNotPresent, {}},
        {Fate::Remove, RemovalOutcome::DeleteFailed},
    };
    RunWithLog(machine, [&] {
        const LinkedPhase phase = RunLinkedPhase(kProduct, u"24.3.20790", false);
        EXPECT_EQ(phase.plan.skip, std::nullopt);
        EXPECT_EQ(phase.plan.boundaries.lastCumulative, u"2400220687");
        EXPECT_TRUE(phase.patchesCleaned);
        EXPECT_FALSE(RunLinkedPhase(kProduct, u"24.3.20790", true).patchesCleaned);
        ASSERT_EQ(phase.patches.size(), std::size(expected));
        for (std::size_t i = 0; i < phase.patches.size(); ++i) {
            const PatchDecision& decision = phase.patches[i];
            EXPECT_EQ(decision.patch.patchCode, GetPatchCode(static_cast<int>(i)));
            EXPECT_EQ(std::pair(decision.fate, decision.outcome), expected[i]) << i;
        }
    });
}

TEST(LinkedCleanup, GivenUpItTellsOfThePatchesAllTheSame) {
    Machine machine = MakeIncrementalMachine();
    RunWithLog(machine, [&] {
        const LinkedPhase phase = RunLinkedPhase(kProduct, u"24.3.20791", false);
        EXPECT_EQ(phase.plan.skip, SkipReason::UnknownType);
        ASSERT_EQ(phase.patches.size(), 6U);
        EXPECT_EQ(phase.patches[5].patch.version, u"24.4.20842");
        EXPECT_EQ(phase.patches[5].fate, Fate::KeepUndecided);
    });
}

}  // namespace
}  // namespace saltrove
