#pragma once

#include "platform/simulated/machine/registry_store.h"

#include <string>
#include <string_view>
#include <vector>

/// The renames and deletions that the system carries out at its next start: the REG_MULTI_SZ
/// `PendingFileRenameOperations` of the Session Manager, a list of pairs in which an empty second
/// text stands for a deletion.
namespace platform::simulated {

inline constexpr std::u16string_view kPendingRenamesKey =
    u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Session Manager";
inline constexpr const char16_t* kPendingRenamesValue = u"PendingFileRenameOperations";

struct PendingRename {
    std::u16string path;     ///< without the prefix `\??\`
    std::u16string newPath;  ///< likewise; empty for a deletion
};

/// All that are registered, in order.
[[nodiscard]] std::vector<PendingRename> ReadPendingRenames(const Registry& registry);

/// Registers the deletion of `path`, a full path, behind those that are there.
/// `soundGeneration`, 0 at first, is this call's own note of when it last left the list in its
/// proper form: until the registry changes otherwise, a further deletion costs no look at the
/// others.
void RegisterDeletion(Registry& registry, std::u16string_view path, std::uint64_t& soundGeneration);

/// Whether this is the value that holds the list.
[[nodiscard]] bool IsPendingRenamesValue(std::u16string_view keyPath, std::u16string_view name);

}  // namespace platform::simulated
