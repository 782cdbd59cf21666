#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace image {

/// The path on this system whose name is `name`, in UTF-8 (or, where names are bytes, in whatever
/// it is). On Windows, the standard library would take a narrow name to be in another encoding.
[[nodiscard]] inline std::filesystem::path MakePath(std::string_view name) {
    return {std::u8string(name.begin(), name.end())};
}

/// The name of a path, as MakePath takes it.
[[nodiscard]] inline std::string ShowPath(const std::filesystem::path& path) {
    const std::u8string name = path.u8string();
    return {name.begin(), name.end()};
}

}  // namespace image
