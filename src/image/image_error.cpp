#include "image/image_error.h"

#include "image/escape.h"

namespace image {

namespace {

std::string FormatPlace(std::string file, std::size_t line) {
    return line == 0 ? file : file.append(":").append(std::to_string(line));
}

}  // namespace

ImageError::ImageError(const std::string& file, std::size_t line, const std::string& reason)
    : std::runtime_error(EscapeControls(FormatPlace(file, line) + ": " + reason)) {}

}  // namespace image
