#pragma once

#include "platform/simulated/machine/machine.h"

#include <string>
#include <string_view>

namespace image {

/// Sets up `machine` with what a machine.ini says: the process, clock, Windows directory, what is
/// missing, sessions, processes, faults and packages; what it does not say stays as it is.
///
/// `bytes` is the file, in UTF-8; `file` is its name for errors. Throws ImageError at the first
/// line with a section, key or value that is not known or that stands twice, and at a package where
/// the machine's drive has something already.
void ReadMachineIni(const std::string& file, std::string_view bytes,
                    platform::simulated::Machine& machine);

/// What ReadMachineIni reads as this machine: all that is neither registry nor file, and the
/// packages of which only a reading is known. Its faults are left out. UTF-8.
[[nodiscard]] std::string FormatMachineIni(const platform::simulated::Machine& machine);

/// The machine.ini in `bytes` as it is, but for its packages: the sections of those, with their
/// comments, go, and those of `drive` stand at its end.
[[nodiscard]] std::string RewritePackages(std::string_view bytes,
                                          const platform::simulated::Drive& drive);

}  // namespace image
