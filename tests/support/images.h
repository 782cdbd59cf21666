#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>
#include <vector>

/// The machine images of the samples and the tests, as parameters of tests.
namespace test {

/// The images of a folder, in name order.
inline std::vector<std::filesystem::path> FindImages(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> images;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_directory())
            images.push_back(entry.path());
    }
    std::sort(images.begin(), images.end());
    return images;
}

/// The image's name in the characters that a test's name may have.
inline std::string MakeTestName(const testing::TestParamInfo<std::filesystem::path>& image) {
    std::string name;
    for (const char character : image.param.filename().string()) {
        const auto byte = static_cast<unsigned char>(character);
        if (std::isalnum(byte) != 0)
            name += character;
        else
            name += byte == '-' ? "_" : "_" + std::to_string(byte) + "_";
    }
    return name;
}

}  // namespace test
