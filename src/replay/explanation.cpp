#include "replay/explanation.h"

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
    for (std::string& line : SplitLog(report.logBytes))
        explanation.log.push_back({std::move(line), std::nullopt});
    if (explanation.basis == Basis::Nothing)
        return explanation;

    // What the run did not get to is asked of a copy of the machine on which no log is on.
    Machine copy = before;
    const MachineScope scope(copy);
    if (!record.linked)
        record.linked = saltrove::RunLinkedPhase(record.productCode, record.productVersion, true);
    if (!record.orphans)
        record.orphans = saltrove::RunOrphanPhase(true);
    if (!record.linked->plan.skip)
        explanation.boundaries = record.linked->plan.boundaries;
    auto undecoded = report.undecodedPackages;
    undecoded.insert(undecoded.end(), copy.undecodedPackages.begin(), copy.undecodedPackages.end());
    PackageTable table = BuildPackageTable(record, before);
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
        return "Simulated: nothing was touched. The verdicts are what a real run would do.";
    case Basis::Hypothesis:
        return "Nothing was touched. The verdicts are what the run would have done if it had not "
               "been refused.";
    case Basis::Run:
    case Basis::Nothing:
        break;
    }
    return {};
}

}  // namespace replay
