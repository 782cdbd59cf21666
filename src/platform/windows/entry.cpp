#include "platform/entry.h"

#include "platform/windows/native.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <span>
#include <string>
#include <vector>

namespace {

/// Keeps every message box away, Windows' own and those of the C runtime: a service account has no
/// desktop on which somebody could answer one. An abort would show one, and what an exit runs may
/// need what has just failed.
void NeverWaitForAnybody() {
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    ::_set_error_mode(_OUT_TO_STDERR);
    std::set_terminate(
        [] { ::TerminateProcess(::GetCurrentProcess(), platform::kExceptionExitCode); });
}

/// Closes what a program that may be started as LocalSystem, from any folder, leaves open by
/// default. A system that does not know a setting refuses it, and the run goes on without.
void HardenProcess() {
    // A module is never taken from the program's own folder or the current one.
    ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
    // The run log's folder is open to others, who could lead the path elsewhere by a junction. The
    // policy covers every path of the process: in a package cache that is a junction which Windows
    // does not trust, nothing is found and nothing deleted. It does not cover hard links.
    ::PROCESS_MITIGATION_REDIRECTION_TRUST_POLICY trust{};
    trust.EnforceRedirectionTrust = 1;
    ::SetProcessMitigationPolicy(::ProcessRedirectionTrustPolicy, &trust, sizeof trust);
}

}  // namespace

/// The entry of a program for the GUI subsystem that takes a wide command line. An exception goes
/// to the terminate handler from here, and not by way of the C runtime.
extern "C" int wmain(int argumentCount, wchar_t* arguments[]) noexcept {
    HardenProcess();
    NeverWaitForAnybody();
    const std::span given(arguments, static_cast<std::size_t>(argumentCount));
    std::vector<std::u16string> texts(given.size());
    std::transform(given.begin(), given.end(), texts.begin(), [](const wchar_t* argument) {
        return std::u16string(reinterpret_cast<const char16_t*>(argument));
    });
    return platform::ProgramMain(texts);
}
