#pragma once

#include "inventory/patch_record.h"
#include "inventory/patch_versions.h"

#include <optional>
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

/// Why the patches cannot be told apart, so that none may go.
enum class SkipReason {
    UnknownType,      ///< of the patch that the product stands on
    NoCurrentPatch,   ///< no applied patch has the product's version
    NoCurrentNumber,  ///< the applied patch of that version has no number
    NoBase,           ///< the current patch is incremental, and there is no cumulative one
};

/// What linked cleanup goes by.
struct Plan {
    Boundaries boundaries;           ///< as far as they were looked for
    std::optional<SkipReason> skip;  ///< nothing if all boundaries stand
};

/// What becomes of one patch, and which rule decided it.
enum class Fate {
    KeepUndecided,       ///< the phase gave up: nothing is decided and nothing goes
    KeepApplied,         ///< the product stands on it
    KeepNoNumber,        ///< it cannot be placed in any order
    KeepLatest,          ///< it has the number of the latest patch
    KeepLastCumulative,  ///< cumulative mode: it has the number of the last cumulative patch
    KeepBase,            ///< incremental mode: likewise, the base of the incremental chain
    KeepBetween,         ///< incremental mode: it belongs to the chain above the base
    LeaveOutsideCache,   ///< not needed, and its package does not lie in the cache folder
    LeaveNotPresent,     ///< not needed, and its package is not there
    Remove,              ///< not needed
};

/// Fixes the boundaries. `currentType` is that of the patch that the product stands on, and
/// `productVersion` the command line's. The search ends at the first boundary that cannot be found:
/// those behind it stay empty.
[[nodiscard]] Plan FindBoundaries(std::span<const PatchRecord> patches, PatchType currentType,
                                  const std::u16string& productVersion);

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

/// What the rules say of one patch: one of the fates KeepApplied to KeepBetween, or Remove. All
/// boundaries stand: `currentType` is kCumulative or kIncremental, and in the second case
/// `lastCumulative` is not empty.
[[nodiscard]] Fate DecideFate(const PatchRecord& patch, const Boundaries& boundaries);

/// Whether a fate keeps the patch because the product may need it.
[[nodiscard]] bool IsPreserved(Fate fate);

}  // namespace saltrove
