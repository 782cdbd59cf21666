#include "replay/pilot.h"

#include "image/escape.h"

#include <array>
#include <iomanip>
#include <set>
#include <sstream>

namespace replay {

namespace {

using platform::simulated::Drive;
using platform::simulated::FileNode;
using saltrove::CacheEntry;
using saltrove::EntryKind;
using saltrove::ExitState;
using saltrove::Fate;
using saltrove::PatchDecision;
using saltrove::RemovalOutcome;

std::string DescribeState(const saltrove::RunRecord& record) {
    if (!record.exitState)
        return "no run";
    const char* text = "done";
    switch (*record.exitState) {
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
    const auto number = std::to_string(static_cast<std::int32_t>(*record.exitState));
    return number + " " + text + (record.simulate ? ", simulated" : "");
}

/// Counts removals. A package that both phases came upon counts once.
class Removals {
  public:
    Removals(const Drive& before, RunSummary& summary) : before_(before), summary_(summary) {}

    void Count(const std::u16string& path, RemovalOutcome outcome) {
        const FileNode* node = before_.Find(path);
        if (node == nullptr || !counted_.insert(node).second)
            return;
        const bool isMarked = outcome == RemovalOutcome::Marked;
        (isMarked ? summary_.marked : summary_.deleted) += 1;
        (isMarked ? summary_.bytesAtRestart : summary_.bytesNow) += node->size;
    }

  private:
    const Drive& before_;
    RunSummary& summary_;
    std::set<const FileNode*> counted_;
};

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

RunSummary SummarizeRun(const saltrove::RunRecord& record, const Drive& before) {
    RunSummary summary;
    summary.state = DescribeState(record);
    Removals removals(before, summary);
    if (record.linked) {
        for (const PatchDecision& patch : record.linked->patches) {
            if (IsTakenAway(patch.outcome))
                removals.Count(patch.patch.localPackage, *patch.outcome);
            else if (patch.fate != Fate::LeaveNotPresent)
                ++summary.kept;
        }
    }
    if (record.orphans) {
        for (const CacheEntry& entry : record.orphans->entries) {
            if (entry.kind == EntryKind::Orphan)
                ++summary.orphans;
            if (IsTakenAway(entry.outcome))
                removals.Count(std::u16string(saltrove::kInstallerCache) + entry.fileName,
                               *entry.outcome);
        }
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
