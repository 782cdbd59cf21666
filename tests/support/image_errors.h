#pragma once

#include "image/image_error.h"

#include <gtest/gtest.h>

#include <string>

namespace test {

/// Expects that `read` throws an ImageError whose text holds `error`.
template <typename Read>
void ExpectImageError(const std::string& error, Read read) {
    try {
        read();
        ADD_FAILURE() << "no error, but not: " << error;
    } catch (const image::ImageError& thrown) {
        EXPECT_NE(std::string(thrown.what()).find(error), std::string::npos)
            << thrown.what() << "\nis not: " << error;
    }
}

}  // namespace test
