#include "replay/image_error.h"

#include "replay/escape.h"

namespace replay {

ImageError::ImageError(const std::string& file, std::size_t line, const std::string& reason)
    : std::runtime_error(
          EscapeControls(file + (line == 0 ? "" : ":" + std::to_string(line)) + ": " + reason)) {}

}  // namespace replay
