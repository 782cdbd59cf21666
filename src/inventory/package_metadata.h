#pragma once

#include <string>

namespace saltrove {

/// Reads the `Description` of one patch package out of its metadata.
///
/// `path` is the package's full path, handed to Windows Installer as it is. Returns the text in the
/// letter case in which the package holds it, cut at 255 characters; of several rows the first
/// one's. Empty if the package cannot be opened or has no metadata, which is logged, and if it has
/// no such property. Holds no handle when it returns, so that the caller may delete the file at
/// once.
[[nodiscard]] std::u16string GetDescriptionFromMsp(const std::u16string& path);

}  // namespace saltrove
