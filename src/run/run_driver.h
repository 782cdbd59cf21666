#pragma once

#include <span>
#include <string>

/// The program: what happens between its command line and its exit code.
namespace saltrove {

/// Runs the program with its command line, the program's own name first, and returns the process
/// exit code: 1 for a wrong number of arguments, in which case nothing was read or written, and 0
/// in every other case. The state in which a run ended is in the registry, not in the exit code.
///
/// The run log is closed when it returns, so that one host process can run the program again.
[[nodiscard]] int RunProgram(std::span<const std::u16string> arguments);

}  // namespace saltrove
