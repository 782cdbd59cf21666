#include "platform/entry.h"

#include <cstdlib>
#include <filesystem>
#include <process.h>
#include <windows.h>

/// Starts itself once more with an argument, runs out of memory there, and expects the exit code
/// that the entry gives for it, and that neither Windows nor the C runtime may show a message box.
int platform::ProgramMain(std::span<const std::u16string> arguments) {
    if (arguments.size() > 1)
        return static_cast<int>(std::string(std::string().max_size() / 2, 'x').size());
    constexpr UINT kNoBoxes =
        SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX;
    if (::GetErrorMode() != kNoBoxes || ::_set_error_mode(_REPORT_ERRMODE) != _OUT_TO_STDERR)
        return 2;
    const std::string self = std::filesystem::path(arguments[0]).string();
    const auto status = ::_spawnl(_P_WAIT, self.c_str(), "out_of_memory", "again", nullptr);
    return status == kExceptionExitCode ? 0 : 1;
}
