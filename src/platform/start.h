#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// What a proof on a real machine does there beside the calls of the program.
namespace platform {

/// Starts an executable with these arguments, in UTF-8, of any content, waits for its end, and
/// returns its exit code; -1 if it could not be started.
[[nodiscard]] int StartAndWait(const std::filesystem::path& program,
                               const std::vector<std::string>& arguments);

/// Makes a file read-only or writable. False if that cannot be done, as where there is none.
bool SetReadOnly(const std::filesystem::path& path, bool isReadOnly);

}  // namespace platform
