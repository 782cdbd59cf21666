#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace replay {

/// Exit states of saltrove-replay that are not the run's own, as sysexits.h numbers them.
inline constexpr int kExitUsage = 64;
inline constexpr int kExitBadImage = 65;
inline constexpr int kExitCannotWrite = 74;

/// The program saltrove-replay, without the process around it. `arguments` begin with the program's
/// name. Writes the report, the help or the version to `out`, in colour if `isColoured`, and what
/// is wrong with the command line or the image to `err`. Returns the exit status.
[[nodiscard]] int RunReplay(const std::vector<std::string>& arguments, std::ostream& out,
                            std::ostream& err, bool isColoured);

}  // namespace replay
