#pragma once

#include "image/image.h"

#include <filesystem>
#include <string>
#include <vector>

namespace replay {

/// What makes an image look as though something else was meant: parts that are missing, or lie
/// where they are not read, and a product that the machine does not know. One line each, without
/// control characters. Throws ImageError if the folder cannot be looked through. `arguments` are
/// those of the run, without the program's name.
[[nodiscard]] std::vector<std::string> ListDoubts(const std::filesystem::path& folder,
                                                  const platform::simulated::Machine& machine,
                                                  const std::vector<std::u16string>& arguments);

}  // namespace replay
