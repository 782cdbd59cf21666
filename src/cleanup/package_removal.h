#pragma once

#include "inventory/lower_case.h"
#include "platform/types.h"

#include <optional>
#include <string>
#include <string_view>

/// The removal of one package: the only place in the system where a file goes.
namespace saltrove {

/// Windows Installer's cache folder, with a backslash at its end. A fixed text: it is not asked for
/// where the system keeps its Windows folder.
inline constexpr std::u16string_view kInstallerCache = u"C:\\Windows\\Installer\\";

/// What became of a package.
enum class RemovalOutcome {
    Simulated,     ///< nothing was touched
    Deleted,       ///< the file is gone
    Marked,        ///< the file goes at the next restart
    DeleteFailed,  ///< the file stays, for a reason that no restart would mend
    MarkFailed,    ///< the file stays: neither deletion nor its registration worked
};

/// Why a package could not go; 0 for a step that did not fail or was not tried.
struct RemovalErrors {
    platform::DWORD deletion = 0;
    platform::DWORD mark = 0;  ///< its registration for the next restart
};

/// Whether a package went or, in a simulation, would have. `outcome` is nothing where no removal
/// was tried.
[[nodiscard]] bool IsTakenAway(std::optional<RemovalOutcome> outcome);

/// Whether a package was really deleted or marked.
[[nodiscard]] bool IsCleaned(std::optional<RemovalOutcome> outcome);

/// Whether a path begins with the cache folder's, in any letter case that `locale` knows.
[[nodiscard]] bool IsInInstallerCache(const std::u16string& path,
                                      const NativeLocale& locale = NativeLocale());

/// Deletes the file `path`, or has it deleted at the next restart if it is in use or access to it
/// is denied. With `simulate` no call is made. Each step is logged; `markFailedText` stands in
/// front of the error code where the registration fails. The caller has settled that the package
/// goes. `errors` is set to what failed.
[[nodiscard]] RemovalOutcome RemovePackage(const std::u16string& path, bool simulate,
                                           std::u16string_view markFailedText,
                                           RemovalErrors& errors);

}  // namespace saltrove
