#pragma once

#include "replay/rehearsal.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace replay {

/// Why the command line of saltrove-replay makes no sense.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The form in which a run is explained.
enum class ExplainFormat { Text, Json, Html };

/// What a command line of saltrove-replay asks for.
struct Options {
    bool wantsHelp = false;
    bool wantsVersion = false;
    std::vector<std::filesystem::path> images;  ///< at least one
    Rehearsal rehearsal;
    std::optional<std::filesystem::path> out;
    std::optional<std::vector<std::u16string>> runArguments;  ///< instead of args.txt
    std::optional<ExplainFormat> explain;                     ///< instead of the report
};

/// The one line that shows the command line's form.
extern const char* const kUsage;
/// What --help prints behind it.
extern const char* const kHelp;

/// Understands a command line, the program's name first. Behind a "--" stand the arguments of the
/// run, in UTF-8. Throws UsageError. With --help or --version nothing else is looked at.
[[nodiscard]] Options ParseCommandLine(const std::vector<std::string>& arguments);

}  // namespace replay
