#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace test {

/// The bytes of a file of the host.
inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A folder of its own, which is empty at first and removed at the end.
class TemporaryFolder {
  public:
    TemporaryFolder()
        : path(std::filesystem::temp_directory_path() /
               ("saltrove-test-" + std::to_string(std::random_device{}()))) {
        std::filesystem::create_directories(path);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::filesystem::remove_all(path);
    }

    const std::filesystem::path path;
};

}  // namespace test
