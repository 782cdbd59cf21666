#pragma once

#include "platform/simulated/machine/machine.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
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

/// Gives the content of the file at a path of a machine to `take`, piece by piece, from its start
/// to its end; false if it cannot be read to its end.
using ContentReader = std::function<bool(const std::u16string& path,
                                         const std::function<void(std::string_view)>& take)>;

/// Writes a machine that comes from no image into `target`, which is made if it is missing, with
/// args.txt if `hasArguments`. The machine's faults are left out. Where there is a reader, a
/// package of which only a reading is known is written with its bytes, unless the reader cannot
/// give them. Throws as WriteImage does, and then leaves nothing there.
void WriteNewImage(Image image, bool hasArguments, const std::filesystem::path& target,
                   const ContentReader& reader);

/// Makes sure that an image can be written to `target`, a folder that is empty or missing, and
/// leaves nothing there. Throws as WriteImage does if it cannot.
void TryTarget(const std::filesystem::path& target);

}  // namespace image
