#pragma once

#include <span>
#include <string>

namespace platform {

/// What the platform's entry calls, and the program defines: runs with the command line, the
/// program's own name first, and returns the process exit code.
[[nodiscard]] int ProgramMain(std::span<const std::u16string> arguments);

/// The process exit code that the platform's entry gives where ProgramMain ends in an exception, as
/// for want of memory. It is not the 3 that the C runtime gives for an abort.
inline constexpr int kExceptionExitCode = 70;

}  // namespace platform
