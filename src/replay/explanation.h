#pragma once

#include "platform/simulated/machine/machine.h"
#include "replay/hazards.h"
#include "replay/package_rows.h"
#include "replay/report.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Why each package went or stayed: the values that a run's own decisions are, as one table.
namespace replay {

/// What the verdicts of an explanation are.
enum class Basis {
    Run,         ///< what a real run did
    Simulation,  ///< what a real run would have done in the place of the simulated one
    Hypothesis,  ///< what a run would have done if it had not been refused
    Nothing,     ///< there are none: the run looked at no package
};

/// A line of the run log, and the row of the package that it is about.
struct LogLine {
    std::u16string text;
    std::optional<std::size_t> row;
};

/// What one verdict comes to.
struct VerdictSum {
    Verdict verdict = Verdict::Kept;
    std::size_t packages = 0;
    std::uintmax_t bytes = 0;
};

struct Explanation {
    std::u16string productCode;
    std::u16string productVersion;
    bool isSimulated = false;
    std::optional<std::int32_t> exitState;
    int exitCode = 0;
    Basis basis = Basis::Nothing;
    std::u16string ending;                           ///< how the run ended, as a sentence
    std::optional<saltrove::Boundaries> boundaries;  ///< if they all stand
    std::vector<PackageRow> rows;
    std::vector<Hazard> hazards;
    std::vector<LogLine> log;
};

/// Explains the run whose process left `report`. `before` is the machine as it was before the run:
/// a phase that the run did not get to is run on a copy of it, in simulation and with the log off,
/// so as to tell what would have been. Nothing is decided here.
[[nodiscard]] Explanation ExplainRun(const platform::simulated::Machine& before,
                                     const ProcessReport& report);

/// The sums of all verdicts, in the order in which they are told; a file that has several rows
/// counts its bytes once.
[[nodiscard]] std::vector<VerdictSum> SumUpVerdicts(const std::vector<PackageRow>& rows);

/// The stable name of a basis: "run", "simulation", "hypothesis", "nothing".
[[nodiscard]] std::string_view GetBasisName(Basis basis);

/// What the verdicts stand for, as a sentence; empty for those of a real run, which need none.
[[nodiscard]] std::string_view GetBasisRemark(Basis basis);

}  // namespace replay
