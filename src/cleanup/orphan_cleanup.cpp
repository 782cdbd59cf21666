#include "cleanup/orphan_cleanup.h"

#include "cleanup/package_removal.h"
#include "inventory/installer_query.h"
#include "inventory/package_metadata.h"
#include "inventory/patch_versions.h"
#include "log/run_log.h"
#include "platform/files.h"
#include "platform/installer.h"
#include "platform/wide_text.h"

#include <memory>
#include <type_traits>

namespace saltrove {

namespace {

using platform::FormatDecimal;

struct FileSearchCloser {
    void operator()(platform::HANDLE search) const {
        platform::FindClose(search);
    }
};

/// A search through a directory, ended at the end of its scope.
using FileSearch = std::unique_ptr<std::remove_pointer_t<platform::HANDLE>, FileSearchCloser>;

/// Begins the search for packages, with the first of them in `entry`; null if there is none.
FileSearch FindFirstPackage(platform::WIN32_FIND_DATAW& entry) {
    const std::u16string pattern = std::u16string(kInstallerCache) + u"*.msp";
    const platform::HANDLE search = platform::FindFirstFileW(pattern.c_str(), &entry);
    return FileSearch(search == platform::INVALID_HANDLE_VALUE ? nullptr : search);
}

LinkedPackages ListLinkedPackages() {
    LinkedPackages linkedPackages;
    platform::DWORD index = 0;
    while (const auto patch = EnumeratePatch(nullptr, platform::MSIPATCHSTATE_ALL, index++)) {
        if (const auto path = GetLocalPackage(patch->patchCode, patch->targetProductCode))
            linkedPackages.insert(LowerCaseCopy(*path));
    }
    return linkedPackages;
}

/// The description of the package if the entry is an orphan; nothing if it is left alone.
std::optional<std::u16string> DescribeOrphan(platform::DWORD attributes, const std::u16string& path,
                                             const LinkedPackages& linkedPackages) {
    const std::u16string lowerCasePath = LowerCaseCopy(path);
    if (ClassifyEntry(attributes, lowerCasePath, linkedPackages, std::nullopt) !=
        EntryKind::NeedsDescription)
        return std::nullopt;
    std::u16string description = GetDescriptionFromMsp(path);
    if (ClassifyEntry(attributes, lowerCasePath, linkedPackages, LowerCaseCopy(description)) !=
        EntryKind::Orphan)
        return std::nullopt;
    return description;
}

/// Removes one orphan; whether it went, or would have gone.
bool RemoveOrphan(const std::u16string& path, bool simulate, bool& patchesCleaned) {
    switch (RemovePackage(path, simulate, u"  [MARK FAILED] MoveFileEx error: ")) {
    case RemovalOutcome::Simulated:
        return true;
    case RemovalOutcome::Deleted:
    case RemovalOutcome::Marked:
        patchesCleaned = true;
        return true;
    case RemovalOutcome::DeleteFailed:
    case RemovalOutcome::MarkFailed:
        break;
    }
    return false;
}

void LogSummary(std::int32_t orphanCount, std::int32_t removedCount, bool simulate) {
    WriteRunLog(u"");
    WriteRunLog(u"Orphan Patch Cleanup Summary:");
    WriteRunLog(u"  - Kelvane orphans found: " + FormatDecimal(orphanCount));
    WriteRunLog(u"  - Deleted/Marked: " + FormatDecimal(removedCount));
    if (simulate)
        WriteRunLog(u"[SIMULATION MODE] No actual deletions performed");
}

}  // namespace

EntryKind ClassifyEntry(platform::DWORD attributes, const std::u16string& path,
                        const LinkedPackages& linkedPackages,
                        const std::optional<std::u16string>& description) {
    if ((attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0)
        return EntryKind::Directory;
    if (linkedPackages.contains(path))
        return EntryKind::Linked;
    if (!description)
        return EntryKind::NeedsDescription;
    const bool namesFamily = description->find(u"kelvane ostrel") != std::u16string::npos ||
                             description->find(u"kelvane lumeth") != std::u16string::npos;
    return namesFamily ? EntryKind::Orphan : EntryKind::Foreign;
}

void CleanupOrphanPatches(std::int32_t& orphanCount, std::u16string& orphanList,
                          bool& patchesCleaned, bool simulate) {
    WriteRunLog(u"");
    WriteRunLog(simulate ? u"========== Phase 3: Orphan Patch Cleanup (SIMULATION MODE) =========="
                         : u"========== Phase 3: Orphan Patch Cleanup ==========");
    orphanCount = 0;
    orphanList.clear();
    const LinkedPackages linkedPackages = ListLinkedPackages();
    platform::WIN32_FIND_DATAW entry{};
    FileSearch search = FindFirstPackage(entry);
    if (!search)
        return;

    std::int32_t removedCount = 0;
    do {
        const std::u16string fileName = platform::ReadBuffer(entry.cFileName);
        const std::u16string path = std::u16string(kInstallerCache) + fileName;
        const auto description = DescribeOrphan(entry.dwFileAttributes, path, linkedPackages);
        if (!description)
            continue;
        ++orphanCount;
        WriteRunLog(u"");
        WriteRunLog(u"Orphan: " + fileName + u" (" + *description + u")");
        if (RemoveOrphan(path, simulate, patchesCleaned))
            ++removedCount;
        if (!orphanList.empty())
            orphanList += u';';
        orphanList += fileName;
    } while (platform::FindNextFileW(search.get(), &entry) != 0);
    search.reset();
    LogSummary(orphanCount, removedCount, simulate);
}

}  // namespace saltrove
