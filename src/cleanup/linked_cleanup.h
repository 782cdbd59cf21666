#pragma once

#include <string>

namespace saltrove {

/// Linked cleanup, the second phase of a run: removes the cached packages of the product's patches
/// that it no longer needs.
///
/// Returns true if every patch was evaluated, whatever became of the single packages, and false if
/// the phase gave up beforehand because a boundary of what to keep could not be found: nothing was
/// touched or recorded then. `patchesCleaned` is set to whether a package was really deleted or
/// marked. A real run that was not given up stores its record, also when nothing went. With
/// `simulate` all decisions are made, nothing is touched and no record is stored. Everything is
/// logged.
[[nodiscard]] bool CleanupLinkedPatches(const std::u16string& productVersion,
                                        const std::u16string& productCode, bool& patchesCleaned,
                                        bool simulate);

}  // namespace saltrove
