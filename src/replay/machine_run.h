#pragma once

#include "platform/simulated/machine/machine.h"
#include "replay/report.h"

#include <string>
#include <vector>

/// Runs of the program on a machine in memory.
namespace replay {

/// Runs the program as one process of the machine, with its command line, the program's own name
/// first. What it leaves open is counted and closed, as at the end of a process.
[[nodiscard]] ProcessReport RunProcess(platform::simulated::Machine& machine,
                                       const std::vector<std::u16string>& arguments);

/// Runs the program with these arguments behind its name, and then every process that was started,
/// each when the one that started it has ended.
[[nodiscard]] RunReport RunOnMachine(platform::simulated::Machine& machine,
                                     std::vector<std::u16string> arguments);

}  // namespace replay
