#pragma once

#include "replay/explanation.h"

#include <cstdint>
#include <string>
#include <vector>

/// What runs on several machines come to, a line each.
namespace replay {

/// What a run did about packages. A simulation counts as what it would do.
struct RunSummary {
    std::string image;
    std::string state;        ///< how the run ended, in a word or two
    std::size_t kept = 0;     ///< packages of the product that stay
    std::size_t deleted = 0;  ///< packages that are gone, orphans among them
    std::size_t marked = 0;   ///< packages that go at the next restart, orphans among them
    std::size_t orphans = 0;  ///< orphans found, whatever became of them
    std::uintmax_t bytesNow = 0;
    std::uintmax_t bytesAtRestart = 0;
};

/// Counts what an explanation tells: files, however many rows they have. A run that was refused or
/// gave up took nothing, whatever it would have.
[[nodiscard]] RunSummary SummarizeRun(const Explanation& explanation);

/// The summaries as a table in UTF-8, with their sum as its last line. Control characters in the
/// names of images are escaped.
[[nodiscard]] std::string FormatPilot(const std::vector<RunSummary>& summaries);

}  // namespace replay
