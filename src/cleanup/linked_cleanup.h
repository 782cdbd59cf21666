#pragma once

#include "cleanup/package_removal.h"
#include "cleanup/preservation.h"

#include <optional>
#include <string>
#include <vector>

/// Linked cleanup, the second phase of a run: removes the cached packages of the product's patches
/// that it no longer needs.
namespace saltrove {

/// One patch of the product: what Windows Installer knows of it, what was decided, what came of it.
struct PatchDecision {
    PatchRecord patch;
    Fate fate = Fate::KeepUndecided;
    std::optional<RemovalOutcome> outcome;  ///< of its removal, if its fate is Remove
    RemovalErrors errors;                   ///< of its removal
};

/// The phase as it went.
struct LinkedPhase {
    Plan plan;
    std::vector<PatchDecision> patches;  ///< in the order of delivery
    ListGaps gaps;                       ///< what the list of the product's patches lacks
    bool patchesCleaned = false;         ///< a package was really deleted or marked
};

/// Runs the phase. It gives up where a boundary of what to keep cannot be found: `plan.skip` says
/// why, and nothing was touched or recorded then. Otherwise every patch is evaluated, and each
/// package removed before the next patch is looked at. A real run that was not given up stores its
/// record, also when nothing went. With `simulate` all decisions are made, nothing is touched and
/// no record is stored. Everything is logged.
[[nodiscard]] LinkedPhase RunLinkedPhase(const std::u16string& productCode,
                                         const std::u16string& productVersion, bool simulate);

/// Runs the phase for a caller to whom its end is enough: true if every patch was evaluated,
/// whatever became of the single packages, and false if the phase gave up. `patchesCleaned` is set
/// to whether a package was really deleted or marked, and `told`, unless it is null, to the phase
/// as it went.
[[nodiscard]] bool CleanupLinkedPatches(const std::u16string& productVersion,
                                        const std::u16string& productCode, bool& patchesCleaned,
                                        bool simulate, LinkedPhase* told = nullptr);

}  // namespace saltrove
