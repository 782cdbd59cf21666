#pragma once

#include "platform/types.h"

#include <optional>
#include <string>
#include <string_view>

/// Finding the signed-in user's shell: the process whose token stands for that user. Nothing here
/// writes to the run log; a failure shows in the result alone.
namespace saltrove {

/// Winlogon's key, below the hive of the machine or of a user, and the value that names the shell.
inline constexpr std::u16string_view kWinlogonKeyPath =
    u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon";
inline constexpr const char16_t* kShellValue = u"Shell";

/// Reads from the registry by a path that begins with the name of a hive.
class RegUtil {
  public:
    virtual ~RegUtil() = default;

    /// Reads the value `Shell`, of whatever type, of the key `fullKeyPath`: a hive's name, a
    /// backslash, the path below it. A name that is no hive's stands for HKEY_LOCAL_MACHINE.
    /// `shellValue` is set to the value's text if it can be read and has fewer than 260 characters,
    /// and left as it was otherwise.
    void ReadShellValue(const std::u16string& fullKeyPath, std::u16string& shellValue) const;
};

/// The path of the shell program, of fewer than 260 characters: as Winlogon's `Shell` names it for
/// the account of the process or, failing that, for the machine. What is no full path lies in the
/// Windows folder. Nothing if the path does not fit. `accountHive` is the account's key, the
/// process's own or one below HKEY_USERS.
[[nodiscard]] std::optional<std::u16string>
GetShellPath(const std::u16string& accountHive = u"HKEY_CURRENT_USER");

/// The id of the first process in the system's order that runs the program `shellPath`, A to Z as
/// a to z, in the first active session; 0 if there is none or it cannot be told.
[[nodiscard]] platform::DWORD FindShellProcessId(const std::u16string& shellPath);

}  // namespace saltrove
