#include "run/run_driver.h"

#include "log/run_log.h"
#include "platform/clock.h"
#include "platform/modules.h"
#include "platform/wide_text.h"
#include "product/eligibility.h"
#include "records/current_patch.h"
#include "run/run_log_switch.h"
#include "usercontext/user_launch.h"

namespace saltrove {

namespace {

using std::chrono::nanoseconds;

constexpr int kExitCodeSuccess = 0;
constexpr int kExitCodeUsage = 1;

/// What the command line gave. The texts are unchanged and unchecked.
struct RunOptions {
    std::u16string productCode;
    std::u16string productVersion;
    bool simulate = false;
};

/// Whether Windows Installer offers the two calls without which nothing can be decided.
bool IsInstallerAvailable() {
    const platform::HMODULE module = platform::LoadLibraryW(u"msi.dll");
    if (module == nullptr)
        return false;
    const platform::FARPROC enumPatches = platform::GetProcAddress(module, "MsiEnumPatchesExW");
    const platform::FARPROC getPatchInfo = platform::GetProcAddress(module, "MsiGetPatchInfoExW");
    platform::FreeLibrary(module);
    return enumPatches != nullptr && getPatchInfo != nullptr;
}

void LogTime(std::u16string_view label, nanoseconds start, nanoseconds end) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(end - start);
    WriteRunLog(std::u16string(label) + platform::FormatDecimal(elapsed.count()) + u" ms");
}

void LogBanner(const RunOptions& options) {
    WriteRunLog(u"========== Saltrove.exe Started ==========");
    WriteRunLog(u"ProductCode: " + options.productCode);
    WriteRunLog(u"ProductVersion: " + options.productVersion);
    WriteRunLog(options.simulate ? u"Mode: SIMULATION (no actual deletions)" : u"Mode: Normal");
}

/// Phase 1: the state that refuses the run, or nothing if the machine may be cleaned.
std::optional<ExitState> CheckEligibility(const std::u16string& productCode) {
    WriteRunLog(u"");
    WriteRunLog(u"========== Phase 1: Eligibility Checks ==========");
    switch (GetPatchCleanupFeatureLockState(productCode)) {
    case FeatureLockState::Disabled:
        WriteRunLog(u"FeatureLockDown: Disabled");
        WriteRunLog(u"Eligibility: FAILED (Patch cleanup disabled via policy)");
        return ExitState::DisabledByPolicy;
    case FeatureLockState::Enabled:
        WriteRunLog(u"FeatureLockDown: Enabled (bypassing other checks)");
        WriteRunLog(u"Eligibility: PASSED");
        return std::nullopt;
    case FeatureLockState::NotSet:
        WriteRunLog(u"FeatureLockDown: Not set");
        break;
    }
    if (!CheckCleanupDuration(productCode)) {
        WriteRunLog(u"Cleanup duration check: FAILED (less than 3 months since last cleanup)");
        WriteRunLog(u"Eligibility: FAILED");
        return ExitState::CleanupTooRecent;
    }
    WriteRunLog(u"Cleanup duration check: PASSED");
    if (!IsExpEnableForUser(productCode)) {
        WriteRunLog(u"User eligibility check: FAILED (not in eligible sample)");
        WriteRunLog(u"Eligibility: FAILED");
        return ExitState::NotInSample;
    }
    WriteRunLog(u"User eligibility check: PASSED");
    WriteRunLog(u"Eligibility: PASSED");
    return std::nullopt;
}

/// Starts the program once more under the signed-in user's token, which is all that sets the user's
/// marker. Only LocalSystem can do that.
void RelaunchInUserContext(const RunOptions& options) {
    if (!IsRunningInSystemContext())
        return;
    WriteRunLog(u"Exe is running in system context");
    if (options.simulate) {
        WriteRunLog(u"[SIMULATION] Skipping user context relaunch (no marker will be logged)");
        return;
    }
    const std::u16string modulePath = GetModulePath();
    if (modulePath.empty())
        return;
    if (LaunchProcessInUserContext(BuildRelaunchCommandLine(modulePath, options.productCode)))
        WriteRunLog(u"Spawned Saltrove in user context to log patch marker.");
}

/// A normal or simulated run, from its first line to its last; returns the state in which it ended.
/// What a phase found is kept in `record`, and given up at the phase's end if that is null.
ExitState RunPhases(const RunOptions& options, RunRecord* record) {
    const nanoseconds runStart = platform::ReadSteadyClock();
    InitRunLog(options.productCode);
    LogBanner(options);
    LogCurrentPatchInfo(options.productCode, options.productVersion);

    if (const std::optional<ExitState> refusal = CheckEligibility(options.productCode))
        return *refusal;

    bool patchesCleaned = false;
    const nanoseconds linkedStart = platform::ReadSteadyClock();
    const bool isLinkedDone = CleanupLinkedPatches(
        options.productVersion, options.productCode, patchesCleaned, options.simulate,
        record != nullptr ? &record->linked.emplace() : nullptr);
    LogTime(u"Phase 2 execution time: ", linkedStart, platform::ReadSteadyClock());
    if (!isLinkedDone) {
        // One text for every reason to give up; the phase has logged the real one.
        WriteRunLog(u"");
        WriteRunLog(u"[SKIP CLEANUP] Only incremental patches present, no cumulative base found.");
        WriteRunLog(u"Exit State: 6 (Only incremental patches)");
        return ExitState::OnlyIncrementalPatches;
    }

    std::int32_t orphanCount = 0;
    std::u16string orphanList;
    const nanoseconds orphanStart = platform::ReadSteadyClock();
    CleanupOrphanPatches(orphanCount, orphanList, patchesCleaned, options.simulate,
                         record != nullptr ? &record->orphans.emplace() : nullptr);
    LogTime(u"Phase 3 execution time: ", orphanStart, platform::ReadSteadyClock());
    LogOrphanPatches(options.productCode, orphanCount, orphanList);
    // The second phase has recorded what it did alone; a package of the third counts as well.
    if (patchesCleaned && !options.simulate) {
        WriteRunLog(u"Updating AffectedMachine registry (patches were cleaned)");
        LogAffectedMachine(options.productCode, patchesCleaned);
    }
    RelaunchInUserContext(options);

    const nanoseconds runEnd = platform::ReadSteadyClock();
    WriteRunLog(u"");
    WriteRunLog(u"========== Cleanup Completed Successfully ==========");
    LogTime(u"Total execution time: ", runStart, runEnd);
    WriteRunLog(u"Exit State: 0 (Success)");
    if (options.simulate)
        WriteRunLog(u"[SIMULATION MODE] No files were actually deleted");
    return ExitState::Success;
}

}  // namespace

int RunProgram(std::span<const std::u16string> arguments, RunRecord* record) {
    RunRecord unwanted;
    RunRecord& told = record != nullptr ? *record : unwanted;
    told = {};
    if (arguments.size() != 3 && arguments.size() != 4)
        return kExitCodeUsage;
    RunOptions options{.productCode = arguments[1], .productVersion = arguments[2]};
    told.productCode = options.productCode;
    told.productVersion = options.productVersion;
    if (!IsInstallerAvailable()) {
        told.exitState = ExitState::MsiUnavailable;
        LogExitState(options.productCode, *told.exitState);
        return kExitCodeSuccess;
    }
    if (arguments[2] == kUserContextArgument) {
        LogPatchMarker(options.productCode);
        return kExitCodeSuccess;
    }
    options.simulate =
        arguments.size() == 4 && platform::EqualsIgnoringAsciiCase(arguments[3], u"simulate");
    told.simulate = options.simulate;
    told.exitState = RunPhases(options, record);
    LogExitState(options.productCode, *told.exitState);
    told.logCutAt = CloseRunLog();
    return kExitCodeSuccess;
}

}  // namespace saltrove
