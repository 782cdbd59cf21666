#pragma once

#include "image/changes.h"
#include "platform/simulated/machine/machine.h"
#include "run/run_driver.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// What saltrove-replay tells of a run, as UTF-8 text for people.
namespace replay {

/// How the run log fared.
enum class LogFate {
    Off,         ///< the log was not switched on
    NotWritten,  ///< it was on, and its file could not be opened
    Written,
};

/// What one process of the run did: the tool itself, or one that it started.
struct ProcessReport {
    saltrove::RunRecord record;  ///< what the program itself tells of it
    LogFate logFate = LogFate::Off;
    std::string logBytes;  ///< what it added to the log file, as it stands there
    image::Changes changes;
    std::vector<platform::simulated::StartedProcess> startedProcesses;
    std::vector<platform::simulated::UndecodedPackage> undecodedPackages;
    int exitCode = 0;
    std::size_t leftOpen = 0;    ///< handles, keys and blocks of memory that it did not let go
    std::size_t badHandles = 0;  ///< calls with a handle that was not open
};

/// A process that was started, and what it did.
struct StartedProcessReport {
    platform::simulated::StartedProcess process;
    ProcessReport report;
};

struct RunReport {
    ProcessReport run;
    std::vector<StartedProcessReport> started;  ///< in the order in which they ran
};

/// Calls `visit` with each line of a run log's bytes, without its end: a byte is the character
/// U+0001 to U+00FF. The lines of a long log would take a multiple of its room all at once.
void VisitLogLines(std::string_view bytes,
                   const std::function<void(const std::u16string& line)>& visit);

/// A line of the log without its time stamp; empty if it has none, as behind a line feed in a text.
[[nodiscard]] std::u16string_view GetLogText(std::u16string_view line);

/// Whether a line of the log tells that a package could not be read, which it does not name.
[[nodiscard]] bool TellsOfFailure(std::u16string_view line);

/// The report, with its headings in bold for a terminal if `isColoured`. Control characters out of
/// the image are escaped.
[[nodiscard]] std::string FormatReport(const RunReport& report, bool isColoured);

}  // namespace replay
