#pragma once

#include "platform/simulated/machine/machine.h"
#include "run/run_driver.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace replay {

/// What became of a package.
enum class Verdict {
    Deleted,
    AtRestart,  ///< its deletion at the next restart was registered
    Failed,     ///< it was to go, and could not
    Kept,       ///< something needs it, or may
    LeftAlone,  ///< none of the run's business
    NotThere,   ///< there was no such file
};

/// All verdicts, in the order in which they are told.
inline constexpr Verdict kVerdicts[] = {Verdict::Deleted, Verdict::AtRestart, Verdict::Failed,
                                        Verdict::Kept,    Verdict::LeftAlone, Verdict::NotThere};

/// What the run took a package for.
enum class PackageKind {
    Patch,         ///< of a patch of the run's product
    OtherProduct,  ///< of a patch of another product
    Orphan,
    Foreign,    ///< nothing links to it, and its description does not name the product family
    NoPackage,  ///< nothing links to it, and it could not be read
    Folder,
    Unread,  ///< of a patch whose `LocalPackage` could not be read, so that no file is known
};

/// A package that the machine knows of. A text that nothing is known of is empty.
struct PackageRow {
    std::u16string file;   ///< its name in the cache folder, or its path if it lies elsewhere
    std::u16string path;   ///< in the spelling in which the run met it
    std::u16string place;  ///< of its file, see LocateFile
    std::optional<std::uintmax_t> size;  ///< before the run; nothing if there was no such file
    bool isCounted = true;               ///< false if another row has counted the same file
    PackageKind kind = PackageKind::Patch;
    std::u16string productCode;
    std::u16string patchCode;
    std::u16string packageName;
    std::u16string version;
    std::u16string number;
    std::u16string_view type;
    std::u16string state;
    std::u16string description;  ///< the patch's display name, or what the package says of itself
    Verdict verdict = Verdict::Kept;
    std::u16string reason;  ///< a sentence without a capital and a full stop
};

/// The rows, and where they come from.
struct PackageTable {
    std::vector<PackageRow> rows;
    std::vector<std::size_t> rowsOfPatches;  ///< the row of each PatchDecision
    std::vector<std::size_t> rowsOfEntries;  ///< the row of each CacheEntry
};

/// Puts the patches that linked cleanup evaluated, the entries of the cache folder and the patches
/// of other products into one table: a row for each path, in the letter case in which the program
/// compares them. Both phases stand in `record`. If the first gave up, the entries of the second
/// are told as left alone. `before` is the machine before the run, for what files there were. Has
/// to be called on a machine.
[[nodiscard]] PackageTable BuildPackageTable(const saltrove::RunRecord& record,
                                             const platform::simulated::Machine& before);

/// The place of a file on drive C:, however its path is spelled, in one letter case; empty if it is
/// no path there.
[[nodiscard]] std::u16string LocateFile(std::u16string_view path);

/// Whether a package went, or in a simulation would have.
[[nodiscard]] bool IsGoing(Verdict verdict);

/// Stable names, and the words for people.
[[nodiscard]] std::string_view GetVerdictName(Verdict verdict);
[[nodiscard]] std::string_view GetVerdictLabel(Verdict verdict);
[[nodiscard]] std::string_view GetKindName(PackageKind kind);
[[nodiscard]] std::string_view GetKindLabel(PackageKind kind);

}  // namespace replay
