#pragma once

#include "collect/collected.h"

#include <set>
#include <string>
#include <string_view>

namespace collect {

/// Collects the keys and values that a run reads or writes, and no other value of any key:
///
/// of the machine what the product, its policy and Winlogon say; of `accounts`, SIDs, what their
/// hives say, as far as they are loaded; the deletions for the next restart.
void CollectProductKeys(Collected& collected, const std::set<std::u16string>& accounts);

/// Parts of it: the values of the Cleanup key below a root, and the deletions for the next restart.
void CollectCleanupStore(Collected& collected, std::u16string_view root);
void CollectPendingRenames(Collected& collected);

/// Collects what Windows Installer knows of patches: which products there are, their lists of
/// patches, and of each patch what a run asks for. The data that stands beside a list is left out,
/// since only that it is there counts. Of the accounts' own patches, which a run does not ask for,
/// the packages' paths.
void CollectInstallerKeys(Collected& collected);

}  // namespace collect
