#include "replay/explanation.h"

#include "platform/wide_text.h"
#include "replay/reasons.h"

#include <algorithm>

namespace replay {

namespace {

using platform::simulated::Machine;
using platform::simulated::MachineScope;
using saltrove::ExitState;
using saltrove::RunRecord;

Basis FindBasis(const RunRecord& record) {
    switch (record.exitState.value_or(ExitState::MsiUnavailable)) {
    case ExitState::Success:
    case ExitState::OnlyIncrementalPatches:
        return record.simulate ? Basis::Simulation : Basis::Run;
    case ExitState::DisabledByPolicy:
    case ExitState::CleanupTooRecent:
    case ExitState::NotInSample:
        return Basis::Hypothesis;
    case ExitState::MsiUnavailable:
        break;
    }
    return Basis::Nothing;
}

/// Links the lines of the log to rows. The packages have their lines in the order of the values, so
/// each is looked for behind the one before it.
class LogLinker {
  public:
    explicit LogLinker(std::vector<LogLine>& log) : log_(log) {}

    /// Links the next line that begins a package's block with `head`, and the indented lines behind
    /// it.
    void LinkBlock(const std::u16string& head, std::size_t row) {
        // A text may hold line feeds, and at a character without a byte the log ends.
        const auto end = std::find_if(head.begin(), head.end(), [](char16_t character) {
            return character == u'\n' || character > 0xFF;
        });
        const std::u16string_view line(head.begin(), end);
        if (!Find([line](std::u16string_view found) { return GetLogText(found) == line; }))
            return;
        log_[next_++].row = row;
        while (next_ < log_.size() && IsDetail(log_[next_].text))
            log_[next_++].row = row;
    }

    /// Links the next line that tells that a package could not be read.
    void LinkFailure(std::size_t row) {
        if (Find([](std::u16string_view line) { return TellsOfFailure(line); }))
            log_[next_++].row = row;
    }

  private:
    /// Whether a line belongs to the block before it: it is indented, or it goes on with a text
    /// that holds a line feed.
    static bool IsDetail(std::u16string_view line) {
        const std::u16string_view text = GetLogText(line);
        const bool goesOn = !line.empty() && line.front() != u'[';
        return goesOn || (text.starts_with(u"  ") && !TellsOfFailure(line));
    }

    /// Goes on to the next line that fits; stays where it is if there is none.
    template <typename Predicate>
    bool Find(Predicate fits) {
        const auto found =
            std::find_if(log_.begin() + static_cast<std::ptrdiff_t>(next_), log_.end(),
                         [&](const LogLine& line) { return fits(line.text); });
        if (found == log_.end())
            return false;
        next_ = static_cast<std::size_t>(found - log_.begin());
        return true;
    }

    std::vector<LogLine>& log_;
    std::size_t next_ = 0;
};

void LinkLog(const RunRecord& record, const PackageTable& table, std::vector<LogLine>& log) {
    LogLinker linker(log);
    if (!record.orphans)
        return;
    for (std::size_t i = 0; i < record.linked->patches.size(); ++i) {
        const saltrove::PatchRecord& patch = record.linked->patches[i].patch;
        linker.LinkBlock(u"Patch: " + patch.version + u" (" +
                             std::u16string(platform::GetFileName(patch.localPackage)) + u")",
                         table.rowsOfPatches[i]);
    }
    for (std::size_t i = 0; i < record.orphans->entries.size(); ++i) {
        const saltrove::CacheEntry& entry = record.orphans->entries[i];
        if (entry.kind == saltrove::EntryKind::Orphan)
            linker.LinkBlock(u"Orphan: " + entry.fileName + u" (" + entry.description + u")",
                             table.rowsOfEntries[i]);
        else if (entry.failure)
            linker.LinkFailure(table.rowsOfEntries[i]);
    }
}

}  // namespace

Explanation ExplainRun(const Machine& before, const ProcessReport& report) {
    RunRecord record = report.record;
    Explanation explanation;
    explanation.productCode = record.productCode;
    explanation.productVersion = record.productVersion;
    explanation.isSimulated = record.simulate;
    if (record.exitState)
        explanation.exitState = static_cast<std::int32_t>(*record.exitState);
    explanation.exitCode = report.exitCode;
    explanation.basis = FindBasis(record);
    explanation.ending = DescribeEnding(record, report.exitCode);
    VisitLogLines(report.logBytes, [&](const std::u16string& line) {
        explanation.log.push_back({line, std::nullopt});
    });
    if (explanation.basis == Basis::Nothing)
        return explanation;

    // What the run did not get to is asked of a copy of the machine on which no log is on.
    Machine copy = before;
    copy.undecodedPackages.clear();
    const MachineScope scope(copy);
    if (!record.linked)
        record.linked = saltrove::RunLinkedPhase(record.productCode, record.productVersion, true);
    if (!record.orphans)
        record.orphans = saltrove::RunOrphanPhase(true);
    if (!record.linked->plan.skip)
        explanation.boundaries = record.linked->plan.boundaries;
    else if (explanation.basis == Basis::Hypothesis)
        explanation.ending += u" It would have given up besides: " +
                              std::u16string(DescribeSkip(record.linked->plan.skip)) + u".";
    auto undecoded = report.undecodedPackages;
    undecoded.insert(undecoded.end(), copy.undecodedPackages.begin(), copy.undecodedPackages.end());
    PackageTable table = BuildPackageTable(record, before);
    LinkLog(report.record, table, explanation.log);
    explanation.hazards = FindHazards({before, record, table, undecoded});
    explanation.rows = std::move(table.rows);
    return explanation;
}

std::vector<VerdictSum> SumUpVerdicts(const std::vector<PackageRow>& rows) {
    std::vector<VerdictSum> sums;
    for (const Verdict verdict : kVerdicts) {
        VerdictSum sum{verdict};
        for (const PackageRow& row : rows) {
            if (row.verdict != verdict)
                continue;
            ++sum.packages;
            sum.bytes += row.isCounted ? row.size.value_or(0) : 0;
        }
        sums.push_back(sum);
    }
    return sums;
}

std::string_view GetBasisName(Basis basis) {
    switch (basis) {
    case Basis::Run:
        return "run";
    case Basis::Simulation:
        return "simulation";
    case Basis::Hypothesis:
        return "hypothesis";
    case Basis::Nothing:
        break;
    }
    return "nothing";
}

std::string_view GetBasisRemark(Basis basis) {
    switch (basis) {
    case Basis::Simulation:
        return "Simulated: nothing was touched. The verdicts are what a real run would do, but "
               "that "
               "what is in use or read-only then goes at the next restart.";
    case Basis::Hypothesis:
        return "Nothing was touched. The verdicts are what the run would have done if it had not "
               "been refused, but that what is in use or read-only then goes at the next restart.";
    case Basis::Run:
    case Basis::Nothing:
        break;
    }
    return {};
}

}  // namespace replay
