#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform::simulated {

/// The full form of a path on any drive or server, as `GetFullPathNameW` works it out of the text
/// alone: relative to `currentDirectory` (on a drive, without a backslash at its end), without ".",
/// "..", doubled separators, and blanks or dots at the end of a name. The name of a device in it is
/// the device: `\\.\NUL`. A drive other than the current directory's counts as being at its root.
[[nodiscard]] std::u16string MakeFullPath(std::u16string_view path,
                                          std::u16string_view currentDirectory);

/// An absolute path on drive C: as Windows resolves it before it looks for the file: the full form
/// without a backslash at its end, and `C:` for the root. Nothing if it is no such path or is too
/// long for calls that do not opt in to long paths (260 characters or more).
[[nodiscard]] std::optional<std::u16string> ResolvePath(std::u16string_view path);

}  // namespace platform::simulated
