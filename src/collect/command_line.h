#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

/// The command line of saltrove-collect.
namespace collect {

/// Why the command line makes no sense.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Options {
    bool wantsHelp = false;
    bool wantsVersion = false;
    bool withPackages = false;
    std::filesystem::path folder;
    std::optional<std::vector<std::u16string>> runArguments;  ///< for args.txt
    /// For what they ask about, in place of an image: a product code; and with it a version.
    std::optional<std::u16string> status;
    std::optional<std::array<std::u16string, 2>> removals;
};

/// The one line that shows the command line's form.
extern const char* const kUsage;
/// What --help prints behind it.
extern const char* const kHelp;

/// Reads the command line, the program's name first. Throws UsageError.
[[nodiscard]] Options ParseCommandLine(std::span<const std::u16string> arguments);

}  // namespace collect
