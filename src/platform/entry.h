#pragma once

#include <span>
#include <string>

namespace platform {

/// What the platform's entry calls, and the program defines: runs with the command line, the
/// program's own name first, and returns the process exit code.
[[nodiscard]] int ProgramMain(std::span<const std::u16string> arguments);

}  // namespace platform
