#pragma once

#include "cleanup/package_removal.h"
#include "inventory/installer_query.h"
#include "inventory/package_metadata.h"
#include "platform/types.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

/// Orphan cleanup, the third phase of a run: removes the packages in Windows Installer's cache
/// folder that nothing is known to link to and whose description names the product family,
/// whichever product of it that is.
namespace saltrove {

/// The packages that products on the machine link to: by the path in lower case the place, in the
/// list of patches, of the one that has its package there, of several the first.
using LinkedPackages = std::unordered_map<std::u16string, std::size_t>;

/// A patch of some product, and the path of its package in the spelling of Windows Installer.
struct LinkedPatch {
    EnumeratedPatch patch;
    std::u16string path;
};

/// What the list of all products' patches gave.
struct LinkedList {
    LinkedPackages packages;
    std::deque<LinkedPatch> patches;  ///< all that have a path, in the order of delivery
    ListGaps gaps;
};

/// What an entry of the cache folder is. Only an orphan goes.
enum class EntryKind {
    Folder,
    Linked,     ///< never opened
    NoPackage,  ///< it could not be read
    Foreign,    ///< its description does not name the product family
    Orphan,
};

/// One entry of the cache folder: what it is, why, and what came of it.
struct CacheEntry {
    std::u16string fileName;
    EntryKind kind = EntryKind::Folder;
    std::optional<std::size_t> link;        ///< place in the list of the patch whose package it is
    std::optional<PackageFailure> failure;  ///< of what is no package
    std::u16string description;             ///< of a package that was read; may be empty
    std::optional<RemovalOutcome> outcome;  ///< of an orphan
    RemovalErrors errors;                   ///< of its removal
};

/// The phase as it went.
struct OrphanPhase {
    LinkedList linked;
    std::deque<CacheEntry> entries;  ///< in the order of the folder
    bool patchesCleaned = false;     ///< a package was really deleted or marked
};

/// Whether an entry may be an orphan, by its attribute word and its full path in lower case: it is
/// no folder, and nothing links to it. Only then is it opened. A further reason to leave an entry
/// alone needs an EntryKind of its own.
[[nodiscard]] bool MayBeOrphan(platform::DWORD attributes, const std::u16string& path,
                               const LinkedPackages& linkedPackages);

/// Whether a description, in lower case, names the product family.
[[nodiscard]] bool NamesProductFamily(std::u16string_view description);

/// Runs the phase. Each orphan is removed before the next entry is looked at. With `simulate`
/// nothing is touched. Everything is logged; nothing that fails here ends the phase.
[[nodiscard]] OrphanPhase RunOrphanPhase(bool simulate);

/// Runs the phase for a caller to whom its end is enough. `orphanCount` and `orphanList` (file
/// names joined by ";", in the order of the folder) are set to all orphans found, whatever became
/// of them. `patchesCleaned` is set if a package was really deleted or marked, and otherwise left
/// as it was. `told`, unless it is null, is set to the phase as it went.
void CleanupOrphanPatches(std::int32_t& orphanCount, std::u16string& orphanList,
                          bool& patchesCleaned, bool simulate, OrphanPhase* told = nullptr);

}  // namespace saltrove
