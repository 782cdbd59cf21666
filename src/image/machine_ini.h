#pragma once

#include "platform/simulated/machine/machine.h"

#include <string>
#include <string_view>

namespace image {

/// Sets up `machine` with what a machine.ini says: the process, clock, Windows directory, what is
/// missing, sessions, processes and faults; what it does not say stays as it is.
///
/// `bytes` is the file, in UTF-8; `file` is its name for errors. Throws ImageError at the first
/// line with a section, key or value that is not known or that stands twice.
void ReadMachineIni(const std::string& file, std::string_view bytes,
                    platform::simulated::Machine& machine);

}  // namespace image
