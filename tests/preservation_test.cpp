#include "cleanup/preservation.h"

#include <gtest/gtest.h>

#include <vector>

namespace saltrove {
namespace {

/// A patch by its version and package name; its number is taken out of the latter.
PatchRecord Make(std::int32_t state, const char16_t* version, const char16_t* packageName) {
    PatchRecord patch;
    patch.state = state;
    patch.version = version;
    patch.packageName = packageName;
    patch.versionNumber = ExtractVersionNumber(packageName);
    return patch;
}

struct FateCase {
    const char* name;
    std::int32_t state;
    const char16_t* packageName;
    Fate inCumulativeMode;
    Fate inIncrementalMode;
};

// Last cumulative 2400220687, current 2400320790, latest 2400420842.
const FateCase kFateCases[] = {
    {"Applied", 1, u"2400120604", Fate::KeepApplied, Fate::KeepApplied},
    {"AppliedWithoutNumber", 1, u"", Fate::KeepApplied, Fate::KeepApplied},
    {"AppliedAndLatest", 1, u"2400420842", Fate::KeepApplied, Fate::KeepApplied},
    {"NoNumber", 2, u"Upd.msp", Fate::KeepNoNumber, Fate::KeepNoNumber},
    {"NoPackageName", 2, u"", Fate::KeepNoNumber, Fate::KeepNoNumber},
    {"Latest", 2, u"2400420842", Fate::KeepLatest, Fate::KeepLatest},
    {"ComparesAsLatest", 2, u"2499920842", Fate::Remove, Fate::Remove},
    {"LastCumulative", 2, u"2400220687", Fate::KeepLastCumulative, Fate::KeepBase},
    {"ComparesAsLastCumulative", 2, u"2499920687", Fate::Remove, Fate::Remove},
    {"IncrementalComparesAsBase", 2, u"2499920687_incr", Fate::Remove, Fate::Remove},
    {"IncrementalRightAboveBase", 2, u"2400220688_incr", Fate::Remove, Fate::KeepBetween},
    {"IncrementalBelowBase", 2, u"2400220686_incr", Fate::Remove, Fate::Remove},
    {"IncrementalWithCurrentNumber", 2, u"2400320790_incr", Fate::Remove, Fate::KeepBetween},
    {"IncrementalComparesAsCurrent", 2, u"2488820790_incr", Fate::Remove, Fate::KeepBetween},
    {"IncrementalRightAboveCurrent", 2, u"2400320791_incr", Fate::Remove, Fate::Remove},
    {"IncrementalOfALowerYear", 2, u"2300320700_incr", Fate::Remove, Fate::Remove},
    {"IncrementalInCapitals", 2, u"2400220736_INCR", Fate::Remove, Fate::Remove},
    {"CumulativeBetween", 2, u"2400220736", Fate::Remove, Fate::Remove},
    {"Obsoleted", 4, u"2400120604", Fate::Remove, Fate::Remove},
    {"StateUnknown", 0, u"2400120604", Fate::Remove, Fate::Remove},
    {"StateWithTheAppliedBit", 3, u"2400120604", Fate::Remove, Fate::Remove},
};

TEST(Preservation, FateOfAPatch) {
    const Boundaries cumulative{kCumulative, u"2400320790", u"2400220687", u"2400420842"};
    const Boundaries incremental{kIncremental, u"2400320790", u"2400220687", u"2400420842"};
    for (const FateCase& row : kFateCases) {
        const PatchRecord patch = Make(row.state, u"", row.packageName);
        EXPECT_EQ(DecideFate(patch, cumulative), row.inCumulativeMode) << row.name;
        EXPECT_EQ(DecideFate(patch, incremental), row.inIncrementalMode) << row.name;
    }
}

TEST(Preservation, BoundariesAreTheHighestNumbersAndTheFirstOfEquals) {
    const std::vector<PatchRecord> patches = {
        Make(2, u"24.1.1", u"2400120604"),
        Make(4, u"24.2.1", u"2400220687"),  // compares as the next one and comes first
        Make(2, u"24.2.2", u"2499920687"),
        Make(2, u"24.2.3", u"2400220700_incr"),   // incremental: no candidate
        Make(2, u"24.3.20790.5", u"2400320780"),  // of the product's own version
        Make(2, u"24.4.1", u"Upd.msp"),
        Make(2, u"24.5.1", u"2400420842_incr"),
        Make(0, u"24.5.2", u"2455520842_incr"),
    };
    EXPECT_EQ(FindLastCumulative(patches, u"24.3.20790"), u"2400220687");
    EXPECT_EQ(FindLastCumulative(patches, u"24.9.1"), u"2400320780");
    EXPECT_EQ(FindLatestOverall(patches), u"2400420842");
    EXPECT_EQ(FindLastCumulative({}, u"1"), u"");
    EXPECT_EQ(FindLatestOverall({}), u"");
}

TEST(Preservation, WithoutABoundaryThereIsAReason) {
    const std::vector<PatchRecord> patches = {Make(1, u"24.3.1", u"2400320790"),
                                              Make(1, u"24.2.1", u"Upd.msp")};
    EXPECT_EQ(FindBoundaries(patches, kUnknownType, u"24.3.1").skip, SkipReason::UnknownType);
    EXPECT_EQ(FindBoundaries(patches, kCumulative, u"24.4.1").skip, SkipReason::NoCurrentPatch);
    EXPECT_EQ(FindBoundaries(patches, kCumulative, u"24.2.1").skip, SkipReason::NoCurrentNumber);
    EXPECT_EQ(FindBoundaries(patches, kIncremental, u"24.3.1.5").skip, SkipReason::NoBase);
    EXPECT_EQ(FindBoundaries(patches, kCumulative, u"24.3.1.5").skip, std::nullopt);
}

}  // namespace
}  // namespace saltrove
