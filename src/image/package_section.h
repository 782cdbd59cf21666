#pragma once

#include "platform/simulated/machine/drive.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The sections [package] of machine.ini: packages of which an image holds what reading them gave
/// in place of their bytes.
namespace image {

/// A section as far as it has been read.
struct PackageSection {
    std::size_t line = 0;  ///< of its header
    std::u16string path;
    std::optional<std::uintmax_t> size;
    std::uint32_t attributes = 0x20;
    std::optional<platform::simulated::PackageReading> reading;
};

/// Reads a line of the section. Throws LineError for a key or value that is not known, for a second
/// answer to what reading the package gave, and for a path at which `drive` has something already.
void ReadPackageLine(const platform::simulated::Drive& drive, PackageSection& section,
                     std::u16string_view key, std::u16string_view value);

/// Puts the package on the drive. Throws LineError if the section lacks something.
void AddPackage(const PackageSection& section, platform::simulated::Drive& drive);

/// A section for each such package of the drive, in the order of their paths, a blank line in front
/// of each; UTF-8.
[[nodiscard]] std::string FormatPackages(const platform::simulated::Drive& drive);

}  // namespace image
