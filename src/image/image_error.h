#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace image {

/// An image that cannot be read. `what()` is one line: the file, the line in it where there is one,
/// and the reason. Control characters in it are escaped.
class ImageError : public std::runtime_error {
  public:
    /// `line` counts from 1; 0 for a fault of the file as a whole.
    ImageError(const std::string& file, std::size_t line, const std::string& reason);
};

}  // namespace image
