#include "platform/entry.h"

#include <filesystem>
#include <process.h>

/// Starts itself once more with an argument, runs out of memory there, and expects the exit code
/// that the entry gives for it.
int platform::ProgramMain(std::span<const std::u16string> arguments) {
    if (arguments.size() > 1)
        return static_cast<int>(std::string(std::string().max_size() / 2, 'x').size());
    const std::string self = std::filesystem::path(arguments[0]).string();
    const auto status = ::_spawnl(_P_WAIT, self.c_str(), "out_of_memory", "again", nullptr);
    return status == kExceptionExitCode ? 0 : 1;
}
