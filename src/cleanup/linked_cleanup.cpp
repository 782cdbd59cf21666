#include "cleanup/linked_cleanup.h"

#include "inventory/lower_case.h"
#include "log/run_log.h"
#include "platform/files.h"
#include "platform/wide_text.h"
#include "records/cleanup_store.h"
#include "records/current_patch.h"

#include <algorithm>
#include <utility>

namespace saltrove {

namespace {

using platform::FormatDecimal;

void LogSkip(std::u16string_view reason, std::u16string_view consequence) {
    WriteRunLog(u"");
    WriteRunLog(reason);
    WriteRunLog(consequence);
}

void LogMode(const Boundaries& boundaries, const std::u16string& productVersion) {
    WriteRunLog(u"");
    if (boundaries.currentType == kIncremental) {
        WriteRunLog(u"[INCREMENTAL MODE] Will preserve:");
        WriteRunLog(u"  - Current incremental patch: " + productVersion);
        WriteRunLog(u"  - Last applied cumulative: " + boundaries.lastCumulative);
        WriteRunLog(u"  - All incremental patches between cumulative and current");
        return;
    }
    WriteRunLog(u"[CUMULATIVE MODE] Will preserve:");
    WriteRunLog(u"  - Current cumulative patch: " + productVersion);
    if (boundaries.lastCumulative.empty())
        WriteRunLog(u"  - No previous cumulative to preserve");
    else
        WriteRunLog(u"  - Last applied cumulative: " + boundaries.lastCumulative);
}

/// Logs the boundaries in the order in which they were looked for, up to the one that is missing.
void LogPlan(const Plan& plan, const std::u16string& productVersion) {
    const Boundaries& boundaries = plan.boundaries;
    WriteRunLog(u"");
    WriteRunLog(u"Current applied patch type: " + std::u16string(boundaries.currentType));
    if (plan.skip == SkipReason::UnknownType) {
        LogSkip(u"[SKIP CLEANUP] Unable to determine current patch type.",
                u"Cannot safely determine which patches to preserve.");
        WriteRunLog(u"Skipping cleanup to avoid deleting patches that should be kept.");
        return;
    }
    if (plan.skip != SkipReason::NoCurrentPatch)
        WriteRunLog(u"Current applied patch version number (10-digit): " +
                    boundaries.currentNumber);
    if (boundaries.currentNumber.empty()) {
        LogSkip(u"[SKIP CLEANUP] Could not find applied patch matching current product version.",
                u"Cannot determine correct preservation boundaries.");
        return;
    }
    if (boundaries.lastCumulative.empty())
        WriteRunLog(u"Last applied cumulative patch: Not found");
    else
        WriteRunLog(u"Last applied cumulative patch version: " + boundaries.lastCumulative);
    if (plan.skip == SkipReason::NoBase) {
        LogSkip(u"[SKIP CLEANUP] Current patch is incremental but no cumulative base found.",
                u"Cannot safely clean incremental patches without a cumulative base.");
        return;
    }
    LogMode(boundaries, productVersion);
    WriteRunLog(u"");
    WriteRunLog(u"Latest overall patch version: " + boundaries.latestOverall);
}

void LogPatch(const PatchRecord& patch) {
    WriteRunLog(u"");
    WriteRunLog(
        {u"Patch: ", patch.version, u" (", platform::GetFileName(patch.localPackage), u")"});
    WriteRunLog({u"  State: ", PatchStateName(patch.state), u", Type: ",
                 PatchTypeOfPackage(patch.packageName)});
}

/// The line of a fate; empty where its line is that of the removal or there is none.
std::u16string_view GetFateText(Fate fate) {
    switch (fate) {
    case Fate::KeepApplied:
        return u"  [SKIP] Patch still applied";
    case Fate::KeepNoNumber:
        return u"  [SKIP] Missing versionNumber - cannot safely classify/order (preserving by "
               u"default)";
    case Fate::KeepLatest:
        return u"  [SKIP] Latest overall patch (backup)";
    case Fate::KeepLastCumulative:
        return u"  [SKIP] Last applied cumulative (preserved for cumulative mode)";
    case Fate::KeepBase:
        return u"  [SKIP] Last applied cumulative (base for incremental)";
    case Fate::KeepBetween:
        return u"  [SKIP] Incremental patch between base and current";
    case Fate::LeaveNotPresent:
        return u"  [SKIP] Not present in path, hence not marking for deletion";
    case Fate::KeepUndecided:
    case Fate::LeaveOutsideCache:
    case Fate::Remove:
        break;
    }
    return {};
}

void LogFate(Fate fate, const PatchRecord& patch) {
    if (const std::u16string_view text = GetFateText(fate); !text.empty())
        WriteRunLog(text);
    if (fate == Fate::KeepNoNumber && patch.packageName.empty())
        WriteRunLog(u"  [NOTE] PackageName also missing (registry metadata unavailable)");
}

/// What becomes of a patch that is not needed: its package goes only from the cache folder.
Fate CheckPackage(const std::u16string& path, const NativeLocale& locale) {
    if (!IsInInstallerCache(path, locale))
        return Fate::LeaveOutsideCache;
    if (platform::GetFileAttributesW(path.c_str()) == platform::INVALID_FILE_ATTRIBUTES)
        return Fate::LeaveNotPresent;
    return Fate::Remove;
}

PatchDecision EvaluatePatch(PatchRecord patch, const Boundaries& boundaries,
                            const NativeLocale& locale, bool simulate) {
    LogPatch(patch);
    Fate fate = DecideFate(patch, boundaries);
    if (fate == Fate::Remove)
        fate = CheckPackage(patch.localPackage, locale);
    LogFate(fate, patch);
    PatchDecision decision{std::move(patch), fate, std::nullopt, {}};
    if (fate == Fate::Remove)
        decision.outcome =
            RemovePackage(decision.patch.localPackage, simulate,
                          u"  [MARK FAILED] MoveFileEx error code: ", decision.errors);
    return decision;
}

template <typename Predicate>
std::u16string CountPatches(const LinkedPhase& phase, Predicate predicate) {
    return FormatDecimal(std::count_if(phase.patches.begin(), phase.patches.end(), predicate));
}

void LogSummary(const LinkedPhase& phase) {
    const auto hasFate = [](Fate fate) {
        return [fate](const PatchDecision& patch) { return patch.fate == fate; };
    };
    const auto isDeleted = [](const PatchDecision& patch) {
        return patch.outcome == RemovalOutcome::Deleted ||
               patch.outcome == RemovalOutcome::Simulated;
    };
    const auto isMarked = [](const PatchDecision& patch) {
        return patch.outcome == RemovalOutcome::Marked;
    };
    const auto isPreserved = [](const PatchDecision& patch) { return IsPreserved(patch.fate); };
    WriteRunLog(u"");
    WriteRunLog(u"Linked Patch Cleanup Summary:");
    WriteRunLog(u"  - Total evaluated: " + FormatDecimal(std::ssize(phase.patches)));
    WriteRunLog(u"  - Preserved: " + CountPatches(phase, isPreserved));
    WriteRunLog(u"  - Not present on disk: " + CountPatches(phase, hasFate(Fate::LeaveNotPresent)));
    WriteRunLog(u"  - Deleted: " + CountPatches(phase, isDeleted));
    WriteRunLog(u"  - Marked for deletion on reboot: " + CountPatches(phase, isMarked));
}

/// The paths of the packages that were taken away, in their order, joined by ";".
std::u16string JoinRemovedPaths(const LinkedPhase& phase) {
    std::u16string paths;
    for (const PatchDecision& decision : phase.patches) {
        if (IsTakenAway(decision.outcome))
            platform::AppendToList(paths, decision.patch.localPackage);
    }
    return paths;
}

}  // namespace

LinkedPhase RunLinkedPhase(const std::u16string& productCode, const std::u16string& productVersion,
                           bool simulate) {
    WriteRunLog(u"");
    WriteRunLog(simulate ? u"========== Phase 2: Linked Patch Cleanup (SIMULATION MODE) =========="
                         : u"========== Phase 2: Linked Patch Cleanup ==========");
    LinkedPhase phase;
    std::vector<PatchRecord> patches = EnumerateProductPatches(productCode, &phase.gaps);
    phase.plan =
        FindBoundaries(patches, GetCurrentPatchType(productVersion, productCode), productVersion);
    LogPlan(phase.plan, productVersion);
    if (phase.plan.skip) {
        for (PatchRecord& patch : patches)
            phase.patches.push_back({std::move(patch), Fate::KeepUndecided, std::nullopt, {}});
        return phase;
    }

    WriteRunLog(u"");
    WriteRunLog(u"Evaluating " + FormatDecimal(std::ssize(patches)) + u" patches...");
    phase.patches.reserve(patches.size());
    const NativeLocale locale;
    for (PatchRecord& patch : patches)
        phase.patches.push_back(
            EvaluatePatch(std::move(patch), phase.plan.boundaries, locale, simulate));
    phase.patchesCleaned =
        std::any_of(phase.patches.begin(), phase.patches.end(),
                    [](const PatchDecision& patch) { return IsCleaned(patch.outcome); });

    LogSummary(phase);
    if (simulate)
        WriteRunLog(u"[SIMULATION MODE] Registry not modified\n");
    else
        LogCleanupRecord(productCode, phase.patchesCleaned, JoinRemovedPaths(phase));
    return phase;
}

bool CleanupLinkedPatches(const std::u16string& productVersion, const std::u16string& productCode,
                          bool& patchesCleaned, bool simulate, LinkedPhase* told) {
    LinkedPhase phase = RunLinkedPhase(productCode, productVersion, simulate);
    patchesCleaned = phase.patchesCleaned;
    const bool isDone = !phase.plan.skip;
    if (told != nullptr)
        *told = std::move(phase);
    return isDone;
}

}  // namespace saltrove
