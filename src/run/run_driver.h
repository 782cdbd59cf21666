#pragma once

#include "cleanup/linked_cleanup.h"
#include "cleanup/orphan_cleanup.h"
#include "records/cleanup_store.h"

#include <optional>
#include <span>
#include <string>

/// The program: what happens between its command line and its exit code.
namespace saltrove {

/// What a run came to, for those who tell of it. A phase that the run did not get to is missing.
struct RunRecord {
    std::u16string productCode;     ///< as the command line gave it, like the version
    std::u16string productVersion;  ///< both are empty with a wrong number of arguments
    bool simulate = false;
    std::optional<ExitState> exitState;  ///< as it was to be stored; nothing if none was
    std::optional<char16_t> logCutAt;    ///< the character that ended the run log early
    std::optional<LinkedPhase> linked;
    std::optional<OrphanPhase> orphans;
};

/// Runs the program with its command line, the program's own name first, and returns the process
/// exit code: 1 for a wrong number of arguments, in which case nothing was read or written, and 0
/// in every other case. The state in which a run ended is in the registry, not in the exit code.
///
/// The run log is closed when it returns, so that one host process can run the program again.
/// `record`, unless it is null, is set to what the run came to.
[[nodiscard]] int RunProgram(std::span<const std::u16string> arguments,
                             RunRecord* record = nullptr);

}  // namespace saltrove
