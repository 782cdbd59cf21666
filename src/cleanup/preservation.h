#pragma once

#include "inventory/patch_record.h"
#include "inventory/patch_versions.h"

#include <span>
#include <string>

/// Which of the product's patches it still needs. Pure decisions over records: no log, no registry,
/// no file.
namespace saltrove {

/// What the patches are held against. All numbers are ten-digit texts.
struct Boundaries {
    PatchType currentType = kUnknownType;  ///< type of the patch that the product stands on
    std::u16string currentNumber;          ///< that patch's number
    std::u16string lastCumulative;  ///< highest cumulative number of another version; may be empty
    std::u16string latestOverall;   ///< highest number of all
};

/// What becomes of one patch, and which rule decided it.
enum class Fate {
    KeepApplied,         ///< the product stands on it
    KeepNoNumber,        ///< it cannot be placed in any order
    KeepLatest,          ///< it has the number of the latest patch
    KeepLastCumulative,  ///< cumulative mode: it has the number of the last cumulative patch
    KeepBase,            ///< incremental mode: likewise, the base of the incremental chain
    KeepBetween,         ///< incremental mode: it belongs to the chain above the base
    Remove,              ///< the product does not need it
};

/// The first applied patch whose version, cut to three parts, is `normalizedVersion`; null if there
/// is none. It may have no number. Points into `patches`.
[[nodiscard]] const PatchRecord* FindCurrentPatch(std::span<const PatchRecord> patches,
                                                  const std::u16string& normalizedVersion);

/// The highest number among the cumulative patches of other versions than `normalizedVersion`, in
/// any state, older or newer; of numbers that compare as equal the first. Empty if there is none.
[[nodiscard]] std::u16string FindLastCumulative(std::span<const PatchRecord> patches,
                                                const std::u16string& normalizedVersion);

/// The highest number of all patches; of numbers that compare as equal the first.
[[nodiscard]] std::u16string FindLatestOverall(std::span<const PatchRecord> patches);

/// The fate of one patch. `boundaries.currentType` is kCumulative or kIncremental, and in the
/// second case `lastCumulative` is not empty.
[[nodiscard]] Fate DecideFate(const PatchRecord& patch, const Boundaries& boundaries);

}  // namespace saltrove
