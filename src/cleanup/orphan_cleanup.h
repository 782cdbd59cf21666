#pragma once

#include "platform/types.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace saltrove {

/// The paths of all packages that a product on the machine links to, in lower case.
using LinkedPackages = std::unordered_set<std::u16string>;

/// What an entry of the cache folder is.
enum class EntryKind {
    Directory,         ///< left alone
    Linked,            ///< a product links to it: left alone, and never opened
    NeedsDescription,  ///< neither of them: only its description can tell
    Foreign,           ///< its description does not name the product family
    Orphan,            ///< it goes
};

/// Tells what an entry is, by its attribute word, its full path and its description, both in lower
/// case. Without a description the answer is one of the first three; with one, and it may be empty,
/// it is never NeedsDescription. Works on the arguments alone.
[[nodiscard]] EntryKind ClassifyEntry(platform::DWORD attributes, const std::u16string& path,
                                      const LinkedPackages& linkedPackages,
                                      const std::optional<std::u16string>& description);

/// Orphan cleanup, the third phase of a run: removes the packages in Windows Installer's cache
/// folder that no product links to and whose description names the product family, whichever
/// product of it that is.
///
/// `orphanCount` and `orphanList` (file names joined by ";", in the order of the folder) are set to
/// all orphans found, whatever became of them. `patchesCleaned` is set if a package was really
/// deleted or marked, and otherwise left as it was. With `simulate` nothing is touched. Everything
/// is logged; nothing that fails here ends the phase or the run.
void CleanupOrphanPatches(std::int32_t& orphanCount, std::u16string& orphanList,
                          bool& patchesCleaned, bool simulate);

}  // namespace saltrove
