#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform::simulated {

/// Splits a command line into the arguments that a C program on Windows gets. The first ends at its
/// closing quote or the first blank. In the others blanks part arguments but within quotes; a
/// backslash takes the meaning from a quote behind it, and two in front of one stand for one; two
/// quotes within quotes stand for one.
[[nodiscard]] std::vector<std::u16string> SplitCommandLine(std::u16string_view commandLine);

}  // namespace platform::simulated
