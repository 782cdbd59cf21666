#include "cleanup/preservation.h"

#include <algorithm>

namespace saltrove {

namespace {

bool IsOfVersion(const PatchRecord& patch, const std::u16string& normalizedVersion) {
    return NormalizeVersion(patch.version) == normalizedVersion;
}

/// The highest number of the patches that `isCandidate` accepts and that have one.
template <typename Predicate>
std::u16string FindHighestNumber(std::span<const PatchRecord> patches, Predicate isCandidate) {
    std::u16string highest;
    for (const PatchRecord& patch : patches) {
        if (patch.versionNumber.empty() || !isCandidate(patch))
            continue;
        if (highest.empty() || CompareVersionNumbers(patch.versionNumber, highest) > 0)
            highest = patch.versionNumber;
    }
    return highest;
}

/// Whether the patch belongs to the incremental chain: above the base, up to the current patch.
bool IsInIncrementalChain(const PatchRecord& patch, const Boundaries& boundaries) {
    return IsIncrementalPackage(patch.packageName) &&
           CompareVersionNumbers(patch.versionNumber, boundaries.lastCumulative) > 0 &&
           CompareVersionNumbers(patch.versionNumber, boundaries.currentNumber) <= 0;
}

}  // namespace

Plan FindBoundaries(std::span<const PatchRecord> patches, PatchType currentType,
                    const std::u16string& productVersion) {
    Plan plan;
    Boundaries& boundaries = plan.boundaries;
    boundaries.currentType = currentType;
    if (currentType == kUnknownType) {
        plan.skip = SkipReason::UnknownType;
        return plan;
    }
    const std::u16string normalizedVersion = NormalizeVersion(productVersion);
    const PatchRecord* current = FindCurrentPatch(patches, normalizedVersion);
    if (current == nullptr || current->versionNumber.empty()) {
        plan.skip = current == nullptr ? SkipReason::NoCurrentPatch : SkipReason::NoCurrentNumber;
        return plan;
    }
    boundaries.currentNumber = current->versionNumber;
    boundaries.lastCumulative = FindLastCumulative(patches, normalizedVersion);
    if (currentType == kIncremental && boundaries.lastCumulative.empty()) {
        plan.skip = SkipReason::NoBase;
        return plan;
    }
    boundaries.latestOverall = FindLatestOverall(patches);
    return plan;
}

const PatchRecord* FindCurrentPatch(std::span<const PatchRecord> patches,
                                    const std::u16string& normalizedVersion) {
    const auto current = std::find_if(patches.begin(), patches.end(), [&](const auto& patch) {
        return patch.state == kPatchStateApplied && IsOfVersion(patch, normalizedVersion);
    });
    return current == patches.end() ? nullptr : &*current;
}

std::u16string FindLastCumulative(std::span<const PatchRecord> patches,
                                  const std::u16string& normalizedVersion) {
    return FindHighestNumber(patches, [&](const PatchRecord& patch) {
        return PatchTypeOfPackage(patch.packageName) == kCumulative &&
               !IsOfVersion(patch, normalizedVersion);
    });
}

std::u16string FindLatestOverall(std::span<const PatchRecord> patches) {
    return FindHighestNumber(patches, [](const PatchRecord&) { return true; });
}

Fate DecideFate(const PatchRecord& patch, const Boundaries& boundaries) {
    const bool isIncrementalMode = boundaries.currentType == kIncremental;
    if (patch.state == kPatchStateApplied)
        return Fate::KeepApplied;
    if (patch.versionNumber.empty())
        return Fate::KeepNoNumber;
    // Equal here means the same ten digits. Numbers that merely compare as equal get no protection.
    if (patch.versionNumber == boundaries.latestOverall)
        return Fate::KeepLatest;
    if (patch.versionNumber == boundaries.lastCumulative)
        return isIncrementalMode ? Fate::KeepBase : Fate::KeepLastCumulative;
    if (isIncrementalMode && IsInIncrementalChain(patch, boundaries))
        return Fate::KeepBetween;
    return Fate::Remove;
}

bool IsPreserved(Fate fate) {
    return fate != Fate::LeaveOutsideCache && fate != Fate::LeaveNotPresent && fate != Fate::Remove;
}

}  // namespace saltrove
