#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace test {

/// The bytes of a file of the host.
inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace test
