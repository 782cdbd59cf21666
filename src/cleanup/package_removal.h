#pragma once

#include <string>
#include <string_view>

/// The removal of one package: the only place in the system where a file goes.
namespace saltrove {

/// What became of a package.
enum class RemovalOutcome {
    Simulated,     ///< nothing was touched
    Deleted,       ///< the file is gone
    Marked,        ///< the file goes at the next restart
    DeleteFailed,  ///< the file stays, for a reason that no restart would mend
    MarkFailed,    ///< the file stays: neither deletion nor its registration worked
};

/// Whether a package may be removed at all: its path lies in Windows Installer's cache folder, in
/// any letter case.
[[nodiscard]] bool IsInInstallerCache(const std::u16string& path);

/// Deletes the file `path`, or has it deleted at the next restart if it is in use or access to it
/// is denied. With `simulate` no call is made. Each step is logged; `markFailedText` stands in
/// front of the error code where the registration fails. The caller has settled that the package
/// goes.
[[nodiscard]] RemovalOutcome RemovePackage(const std::u16string& path, bool simulate,
                                           std::u16string_view markFailedText);

}  // namespace saltrove
