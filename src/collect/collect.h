#pragma once

#include <iosfwd>
#include <span>
#include <string>

/// Writes the machine that the platform's calls are made on as a machine image.
namespace collect {

/// Exit states of saltrove-collect, the latter two as sysexits.h numbers them.
inline constexpr int kExitComplete = 0;
inline constexpr int kExitPartial = 1;
inline constexpr int kExitUsage = 64;
inline constexpr int kExitCannotWrite = 74;

/// The program saltrove-collect, without the process around it. `arguments` begin with the
/// program's name. Writes what it has made, the help or the version to `out`, and to `err` what is
/// wrong with the command line, how far it is, and a line for each thing that could not be read.
/// Returns the exit status. Changes nothing on the machine.
[[nodiscard]] int RunCollect(std::span<const std::u16string> arguments, std::ostream& out,
                             std::ostream& err);

}  // namespace collect
