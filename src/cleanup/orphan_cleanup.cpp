#include "cleanup/orphan_cleanup.h"

#include "inventory/lower_case.h"
#include "log/run_log.h"
#include "platform/file_search.h"
#include "platform/files.h"
#include "platform/installer.h"
#include "platform/wide_text.h"

#include <algorithm>

namespace saltrove {

namespace {

using platform::FileSearch;
using platform::FormatDecimal;

/// Begins the search for packages, with the first of them in `found`; null if there is none.
FileSearch FindFirstPackage(platform::WIN32_FIND_DATAW& found) {
    const std::u16string pattern = std::u16string(kInstallerCache) + u"*.msp";
    const platform::HANDLE search = platform::FindFirstFileW(pattern.c_str(), &found);
    return FileSearch(search == platform::INVALID_HANDLE_VALUE ? nullptr : search);
}

LinkedList ListLinkedPackages(const NativeLocale& locale) {
    LinkedList list;
    const auto visit = [&](const EnumeratedPatch& patch) {
        if (const auto path = GetLocalPackage(patch.patchCode, patch.targetProductCode)) {
            list.packages.try_emplace(LowerCaseCopy(*path, locale), list.patches.size());
            list.patches.push_back({patch, *path});
        } else {
            list.gaps.withoutPath.push_back(patch);
        }
        return Walk::GoOn;
    };
    list.gaps.end = WalkPatches(nullptr, platform::MSIPATCHSTATE_ALL, visit);
    return list;
}

bool IsFolder(platform::DWORD attributes) {
    return (attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// Tells what an entry is and why. An orphan is still to be removed.
CacheEntry InspectEntry(const platform::WIN32_FIND_DATAW& found, const LinkedList& linked,
                        const NativeLocale& locale) {
    CacheEntry entry;
    entry.fileName = platform::ReadBuffer(found.cFileName);
    const std::u16string path = std::u16string(kInstallerCache) + entry.fileName;
    const std::u16string lowerCasePath = LowerCaseCopy(path, locale);
    if (!MayBeOrphan(found.dwFileAttributes, lowerCasePath, linked.packages)) {
        entry.kind = IsFolder(found.dwFileAttributes) ? EntryKind::Folder : EntryKind::Linked;
        const auto link = linked.packages.find(lowerCasePath);
        if (link != linked.packages.end())
            entry.link = link->second;
        return entry;
    }
    entry.description = GetDescriptionFromMsp(path, &entry.failure);
    if (NamesProductFamily(LowerCaseCopy(entry.description, locale)))
        entry.kind = EntryKind::Orphan;
    else
        entry.kind = entry.failure ? EntryKind::NoPackage : EntryKind::Foreign;
    return entry;
}

void RemoveOrphan(CacheEntry& entry, bool simulate) {
    WriteRunLog(u"");
    WriteRunLog({u"Orphan: ", entry.fileName, u" (", entry.description, u")"});
    entry.outcome = RemovePackage(std::u16string(kInstallerCache) + entry.fileName, simulate,
                                  u"  [MARK FAILED] MoveFileEx error: ", entry.errors);
}

bool IsOrphan(const CacheEntry& entry) {
    return entry.kind == EntryKind::Orphan;
}

void LogSummary(const OrphanPhase& phase, bool simulate) {
    const auto orphans = std::count_if(phase.entries.begin(), phase.entries.end(), IsOrphan);
    const auto removed =
        std::count_if(phase.entries.begin(), phase.entries.end(),
                      [](const CacheEntry& entry) { return IsTakenAway(entry.outcome); });
    WriteRunLog(u"");
    WriteRunLog(u"Orphan Patch Cleanup Summary:");
    WriteRunLog(u"  - Kelvane orphans found: " + FormatDecimal(orphans));
    WriteRunLog(u"  - Deleted/Marked: " + FormatDecimal(removed));
    if (simulate)
        WriteRunLog(u"[SIMULATION MODE] No actual deletions performed");
}

}  // namespace

bool MayBeOrphan(platform::DWORD attributes, const std::u16string& path,
                 const LinkedPackages& linkedPackages) {
    return !IsFolder(attributes) && !linkedPackages.contains(path);
}

bool NamesProductFamily(std::u16string_view description) {
    // The second is not how the registry calls that family.
    return description.find(u"kelvane ostrel") != std::u16string_view::npos ||
           description.find(u"kelvane lumeth") != std::u16string_view::npos;
}

OrphanPhase RunOrphanPhase(bool simulate) {
    WriteRunLog(u"");
    WriteRunLog(simulate ? u"========== Phase 3: Orphan Patch Cleanup (SIMULATION MODE) =========="
                         : u"========== Phase 3: Orphan Patch Cleanup ==========");
    OrphanPhase phase;
    const NativeLocale locale;
    phase.linked = ListLinkedPackages(locale);
    platform::WIN32_FIND_DATAW found{};
    FileSearch search = FindFirstPackage(found);
    if (!search)
        return phase;
    do {
        CacheEntry entry = InspectEntry(found, phase.linked, locale);
        if (IsOrphan(entry))
            RemoveOrphan(entry, simulate);
        phase.entries.push_back(std::move(entry));
    } while (platform::FindNextFileW(search.get(), &found) != 0);
    search.reset();
    phase.patchesCleaned =
        std::any_of(phase.entries.begin(), phase.entries.end(),
                    [](const CacheEntry& entry) { return IsCleaned(entry.outcome); });
    LogSummary(phase, simulate);
    return phase;
}

void CleanupOrphanPatches(std::int32_t& orphanCount, std::u16string& orphanList,
                          bool& patchesCleaned, bool simulate, OrphanPhase* told) {
    OrphanPhase phase = RunOrphanPhase(simulate);
    orphanCount = 0;
    orphanList.clear();
    for (const CacheEntry& entry : phase.entries) {
        if (!IsOrphan(entry))
            continue;
        ++orphanCount;
        platform::AppendToList(orphanList, entry.fileName);
    }
    patchesCleaned = patchesCleaned || phase.patchesCleaned;
    if (told != nullptr)
        *told = std::move(phase);
}

}  // namespace saltrove
