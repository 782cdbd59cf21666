#pragma once

#include "platform/types.h"

#include <optional>
#include <string>

namespace saltrove {

/// The step at which the reading of a package failed.
enum class PackageStep {
    Open,     ///< the file as a patch package
    Query,    ///< its table of metadata
    Execute,  ///< the query
};

struct PackageFailure {
    PackageStep step = PackageStep::Open;
    platform::UINT error = 0;  ///< what the failing call gave
};

/// Reads the `Description` of one patch package out of its metadata.
///
/// `path` is the package's full path, handed to Windows Installer as it is. Returns the text in the
/// letter case in which the package holds it, cut at 255 characters; of several rows the first
/// one's. Empty if the package cannot be opened or has no metadata, which is logged. Empty as well,
/// which is no failure, if it has no such property or a row in front of it cannot be read.
/// `failure`, unless it is null, is set to where the reading failed, or to nothing. Holds no handle
/// when it returns, so that the caller may delete the file at once.
[[nodiscard]] std::u16string
GetDescriptionFromMsp(const std::u16string& path, std::optional<PackageFailure>* failure = nullptr);

}  // namespace saltrove
