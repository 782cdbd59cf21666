#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform::simulated {

/// Splits a command line into the arguments that a C program on Windows gets. Blanks part
/// arguments but within quotes. In all but the first a
/// backslash takes the meaning from a quote behind it, and two in front of one stand for one; two
/// quotes within quotes stand for one.
[[nodiscard]] std::vector<std::u16string> SplitCommandLine(std::u16string_view commandLine);

}  // namespace platform::simulated
