#include "cleanup/linked_cleanup.h"

#include "cleanup/package_removal.h"
#include "cleanup/preservation.h"
#include "inventory/patch_record.h"
#include "inventory/patch_versions.h"
#include "log/run_log.h"
#include "platform/files.h"
#include "platform/wide_text.h"
#include "records/cleanup_store.h"
#include "records/current_patch.h"

#include <optional>
#include <vector>

namespace saltrove {

namespace {

using platform::FormatDecimal;

/// What the phase did, package by package.
struct Tally {
    std::int32_t preserved = 0;
    std::int32_t notPresent = 0;
    std::int32_t deleted = 0;
    std::int32_t marked = 0;
    std::vector<std::u16string> removalList;  ///< full paths, in the order in which they went
};

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

/// Fixes what the patches are held against, or logs why that cannot be done.
std::optional<Boundaries> FindBoundaries(const std::vector<PatchRecord>& patches,
                                         const std::u16string& productVersion,
                                         const std::u16string& productCode) {
    Boundaries boundaries;
    boundaries.currentType = GetCurrentPatchType(productVersion, productCode);
    WriteRunLog(u"");
    WriteRunLog(u"Current applied patch type: " + std::u16string(boundaries.currentType));
    if (boundaries.currentType == kUnknownType) {
        LogSkip(u"[SKIP CLEANUP] Unable to determine current patch type.",
                u"Cannot safely determine which patches to preserve.");
        WriteRunLog(u"Skipping cleanup to avoid deleting patches that should be kept.");
        return std::nullopt;
    }

    const std::u16string normalizedProductVersion = NormalizeVersion(productVersion);
    const PatchRecord* current = FindCurrentPatch(patches, normalizedProductVersion);
    if (current != nullptr) {
        boundaries.currentNumber = current->versionNumber;
        WriteRunLog(u"Current applied patch version number (10-digit): " +
                    boundaries.currentNumber);
    }
    if (boundaries.currentNumber.empty()) {
        LogSkip(u"[SKIP CLEANUP] Could not find applied patch matching current product version.",
                u"Cannot determine correct preservation boundaries.");
        return std::nullopt;
    }

    boundaries.lastCumulative = FindLastCumulative(patches, normalizedProductVersion);
    if (boundaries.lastCumulative.empty())
        WriteRunLog(u"Last applied cumulative patch: Not found");
    else
        WriteRunLog(u"Last applied cumulative patch version: " + boundaries.lastCumulative);
    if (boundaries.currentType == kIncremental && boundaries.lastCumulative.empty()) {
        LogSkip(u"[SKIP CLEANUP] Current patch is incremental but no cumulative base found.",
                u"Cannot safely clean incremental patches without a cumulative base.");
        return std::nullopt;
    }

    LogMode(boundaries, productVersion);
    boundaries.latestOverall = FindLatestOverall(patches);
    WriteRunLog(u"");
    WriteRunLog(u"Latest overall patch version: " + boundaries.latestOverall);
    return boundaries;
}

std::u16string_view TextOfKeptFate(Fate fate) {
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
    case Fate::Remove:
        break;
    }
    return {};
}

void LogPatch(const PatchRecord& patch) {
    WriteRunLog(u"");
    WriteRunLog(u"Patch: " + patch.version + u" (" +
                std::u16string(platform::GetFileName(patch.localPackage)) + u")");
    WriteRunLog(u"  State: " + PatchStateName(patch.state) + u", Type: " +
                std::u16string(PatchTypeOfPackage(patch.packageName)));
}

void RemovePatch(const PatchRecord& patch, bool simulate, bool& patchesCleaned, Tally& tally) {
    if (!IsInInstallerCache(patch.localPackage))
        return;
    if (platform::GetFileAttributesW(patch.localPackage.c_str()) ==
        platform::INVALID_FILE_ATTRIBUTES) {
        WriteRunLog(u"  [SKIP] Not present in path, hence not marking for deletion");
        ++tally.notPresent;
        return;
    }
    switch (
        RemovePackage(patch.localPackage, simulate, u"  [MARK FAILED] MoveFileEx error code: ")) {
    case RemovalOutcome::Simulated:
        ++tally.deleted;
        break;
    case RemovalOutcome::Deleted:
        ++tally.deleted;
        patchesCleaned = true;
        break;
    case RemovalOutcome::Marked:
        ++tally.marked;
        patchesCleaned = true;
        break;
    case RemovalOutcome::DeleteFailed:
    case RemovalOutcome::MarkFailed:
        return;
    }
    tally.removalList.push_back(patch.localPackage);
}

void EvaluatePatch(const PatchRecord& patch, const Boundaries& boundaries, bool simulate,
                   bool& patchesCleaned, Tally& tally) {
    LogPatch(patch);
    const Fate fate = DecideFate(patch, boundaries);
    if (fate == Fate::Remove) {
        RemovePatch(patch, simulate, patchesCleaned, tally);
        return;
    }
    WriteRunLog(TextOfKeptFate(fate));
    if (fate == Fate::KeepNoNumber && patch.packageName.empty())
        WriteRunLog(u"  [NOTE] PackageName also missing (registry metadata unavailable)");
    ++tally.preserved;
}

void LogSummary(std::size_t evaluated, const Tally& tally) {
    WriteRunLog(u"");
    WriteRunLog(u"Linked Patch Cleanup Summary:");
    WriteRunLog(u"  - Total evaluated: " + FormatDecimal(static_cast<std::int64_t>(evaluated)));
    WriteRunLog(u"  - Preserved: " + FormatDecimal(tally.preserved));
    WriteRunLog(u"  - Not present on disk: " + FormatDecimal(tally.notPresent));
    WriteRunLog(u"  - Deleted: " + FormatDecimal(tally.deleted));
    WriteRunLog(u"  - Marked for deletion on reboot: " + FormatDecimal(tally.marked));
}

std::u16string JoinPaths(const std::vector<std::u16string>& paths) {
    std::u16string joined;
    for (const std::u16string& path : paths) {
        if (&path != &paths.front())
            joined += u';';
        joined += path;
    }
    return joined;
}

}  // namespace

bool CleanupLinkedPatches(const std::u16string& productVersion, const std::u16string& productCode,
                          bool& patchesCleaned, bool simulate) {
    patchesCleaned = false;
    WriteRunLog(u"");
    WriteRunLog(simulate ? u"========== Phase 2: Linked Patch Cleanup (SIMULATION MODE) =========="
                         : u"========== Phase 2: Linked Patch Cleanup ==========");
    const std::vector<PatchRecord> patches = EnumerateProductPatches(productCode);
    const std::optional<Boundaries> boundaries =
        FindBoundaries(patches, productVersion, productCode);
    if (!boundaries)
        return false;

    WriteRunLog(u"");
    WriteRunLog(u"Evaluating " + FormatDecimal(static_cast<std::int64_t>(patches.size())) +
                u" patches...");
    Tally tally;
    for (const PatchRecord& patch : patches)
        EvaluatePatch(patch, *boundaries, simulate, patchesCleaned, tally);

    LogSummary(patches.size(), tally);
    if (simulate)
        WriteRunLog(u"[SIMULATION MODE] Registry not modified\n");
    else
        LogCleanupRecord(productCode, patchesCleaned, JoinPaths(tally.removalList));
    return true;
}

}  // namespace saltrove
