#pragma once

#include "platform/simulated/machine/machine.h"

#include <filesystem>
#include <string>
#include <vector>

/// Machine images: folders that hold what one Windows machine looked like.
namespace image {

struct Image {
    platform::simulated::Machine machine;
    std::vector<std::u16string> arguments;  ///< the lines of args.txt, without the program's name
};

/// Reads the image in `folder`. The content of drive C: stays where it is until it is needed, so
/// the folder has to outlive the machine. Throws ImageError at the first fault.
[[nodiscard]] Image ReadImage(const std::filesystem::path& folder);

/// Writes a machine as an image into `target`, which is made if it is missing: its registry as
/// registry.reg, its drive in C/, and from `source`, the image that it comes from, machine.ini, in
/// which the packages without their bytes are now those of the machine, and args.txt. Throws
/// std::filesystem::filesystem_error or std::ios_base::failure if something cannot be written.
void WriteImage(const platform::simulated::Machine& machine, const std::filesystem::path& source,
                const std::filesystem::path& target);

}  // namespace image
