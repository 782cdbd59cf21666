#pragma once

#include <string>
#include <string_view>

namespace saltrove {

/// The second argument of the run that only sets the user's marker.
inline constexpr std::u16string_view kUserContextArgument = u"usercontext";

/// Starts a process under the token of the signed-in user, hidden, and does not wait for it.
///
/// `commandLine` names the program and its arguments, in fewer than 260 characters; one that is
/// longer is not launched. True if a process was created, false in every other case. Logs how far
/// it got. Nothing is open when it returns.
[[nodiscard]] bool LaunchProcessInUserContext(const std::u16string& commandLine);

/// Whether the process runs as LocalSystem; false also if that cannot be told. Logs nothing.
[[nodiscard]] bool IsRunningInSystemContext();

/// The command line of the relaunch: the program, the product code and "usercontext". A module path
/// that holds a blank goes in quotes, so that no other program can be picked up by a part of it and
/// the arguments stay where they belong.
[[nodiscard]] std::u16string BuildRelaunchCommandLine(const std::u16string& modulePath,
                                                      const std::u16string& productCode);

/// The path of the running program; empty if it cannot be had or has 260 characters or more.
[[nodiscard]] std::u16string GetModulePath();

}  // namespace saltrove
