#pragma once

#include "platform/simulated/machine.h"
#include "replay/changes.h"

#include <string>
#include <vector>

/// What saltrove-replay tells of a run, as UTF-8 text for people.
namespace replay {

/// How the run log fared.
enum class LogFate {
    Off,         ///< the log was not switched on
    NotWritten,  ///< it was on, and its file could not be opened
    Written,
};

struct RunReport {
    LogFate logFate = LogFate::Off;
    std::string logBytes;  ///< what the run added to the log file, as it stands there
    Changes changes;
    std::vector<platform::simulated::StartedProcess> startedProcesses;
    int exitCode = 0;
};

/// The report, with its headings in bold for a terminal if `isColoured`. Control characters out of
/// the image are escaped.
[[nodiscard]] std::string FormatReport(const RunReport& report, bool isColoured);

}  // namespace replay
