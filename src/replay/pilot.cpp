#include "replay/pilot.h"

#include "image/escape.h"

#include <array>
#include <iomanip>
#include <sstream>

namespace replay {

namespace {

using saltrove::ExitState;

std::string DescribeState(const Explanation& explanation) {
    if (!explanation.exitState)
        return "no run";
    const char* text = "done";
    switch (static_cast<ExitState>(*explanation.exitState)) {
    case ExitState::Success:
        break;
    case ExitState::MsiUnavailable:
        text = "no installer";
        break;
    case ExitState::DisabledByPolicy:
        text = "forbidden";
        break;
    case ExitState::CleanupTooRecent:
        text = "too recent";
        break;
    case ExitState::NotInSample:
        text = "not in sample";
        break;
    case ExitState::OnlyIncrementalPatches:
        text = "gave up";
        break;
    }
    return std::to_string(*explanation.exitState) + " " + text +
           (explanation.isSimulated ? ", simulated" : "");
}

/// The cells of a line, in front of the image's name.
std::array<std::string, 7> MakeCells(const RunSummary& summary) {
    return {summary.state,
            std::to_string(summary.kept),
            std::to_string(summary.deleted),
            std::to_string(summary.marked),
            std::to_string(summary.orphans),
            std::to_string(summary.bytesNow),
            std::to_string(summary.bytesAtRestart)};
}

}  // namespace

RunSummary SummarizeRun(const Explanation& explanation) {
    RunSummary summary;
    summary.state = DescribeState(explanation);
    const bool isDone = explanation.exitState == static_cast<std::int32_t>(ExitState::Success);
    for (const PackageRow& row : explanation.rows) {
        const bool goes = isDone && IsGoing(row.verdict);
        if (isDone && row.kind == PackageKind::Orphan)
            ++summary.orphans;
        if (!row.isCounted || !row.size)
            continue;
        if (!goes) {
            summary.kept += row.kind == PackageKind::Patch ? 1 : 0;
            continue;
        }
        const bool isMarked = row.verdict == Verdict::AtRestart;
        (isMarked ? summary.marked : summary.deleted) += 1;
        (isMarked ? summary.bytesAtRestart : summary.bytesNow) += *row.size;
    }
    return summary;
}

std::string FormatPilot(const std::vector<RunSummary>& summaries) {
    RunSummary sum;
    sum.image = std::to_string(summaries.size()) + " images";
    sum.state = "sum";
    for (const RunSummary& summary : summaries) {
        sum.kept += summary.kept;
        sum.deleted += summary.deleted;
        sum.marked += summary.marked;
        sum.orphans += summary.orphans;
        sum.bytesNow += summary.bytesNow;
        sum.bytesAtRestart += summary.bytesAtRestart;
    }
    std::ostringstream table;
    const auto writeLine = [&](const std::array<std::string, 7>& cells, const std::string& image) {
        table << std::left << std::setw(24) << cells[0] << std::right;
        for (std::size_t i = 1; i < cells.size(); ++i)
            table << std::setw(i < 5 ? 12 : 18) << cells[i];
        table << "  " << image::EscapeControls(image) << "\n";
    };
    writeLine(
        {"state", "kept", "deleted", "at restart", "orphans", "bytes now", "bytes at restart"},
        "image");
    for (const RunSummary& summary : summaries)
        writeLine(MakeCells(summary), summary.image);
    writeLine(MakeCells(sum), sum.image);
    return table.str();
}

}  // namespace replay
