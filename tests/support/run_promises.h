#pragma once

#include "replay/machine_run.h"
#include "support/generated_machines.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What every run keeps to, on whatever machine and whichever call fails.
namespace test {

using platform::simulated::Fault;
using platform::simulated::Machine;

/// A run that is over. Files are told by their places, see replay::LocateFile.
struct FinishedRun {
    Machine after;
    replay::ProcessReport report = {};
    std::vector<std::u16string> asked = {};  ///< whose removal was tried or simulated, in order
    std::set<std::u16string> deleted = {};
    std::set<std::u16string> marked = {};
    bool isSearchWhole = true;  ///< no fault kept the search for packages from its end
};

/// Runs the program on a copy of the machine, its calls recorded, with a fault besides.
[[nodiscard]] FinishedRun FinishRun(const Machine& machine,
                                    const std::vector<std::u16string>& arguments,
                                    const std::optional<Fault>& fault = std::nullopt);

/// The fault that meets the call at `place` of a run's calls, and no other.
[[nodiscard]] Fault MakeFault(const std::vector<platform::simulated::CallRecord>& calls,
                              std::size_t place, platform::DWORD code);

/// The promises that a run broke, a line each; empty if there are none.
[[nodiscard]] std::string FindBrokenPromises(const Machine& before,
                                             const std::vector<std::u16string>& arguments,
                                             const FinishedRun& run);

/// The promises that hold between runs on one machine: simulated and real, with and without the
/// log, one behind the other, behind a restart.
[[nodiscard]] std::string FindBrokenPromisesBetweenRuns(const GeneratedMachine& generated);

/// The same with calls failing, in both of two runs where both make them; and that no later run
/// takes what one on the machine as it was would have kept. The calls from the `first` to the one
/// before the `last` fail, one in each run, as far as there are so many.
[[nodiscard]] std::string FindBrokenPromisesBetweenFailingRuns(const GeneratedMachine& generated,
                                                               std::size_t first = 0,
                                                               std::size_t last = SIZE_MAX);

/// The kind of the call at `place` of a run's calls, such as "late MsiGetPatchInfoExW
/// LocalPackage": what was asked for, and whether the list of all products had been begun.
[[nodiscard]] std::string DescribeCall(const std::vector<platform::simulated::CallRecord>& calls,
                                       std::size_t place);

/// A kind of call whose failure can cost a package that the run would have kept without it, and on
/// how many machines of each part of the sweep over every call it does. Each loses for a reason
/// that docs/reliability.md tells; no other may.
struct KnownLoss {
    std::string_view kind;
    std::array<unsigned, 8> machines;
};
[[nodiscard]] std::span<const KnownLoss> GetKnownLosses();
[[nodiscard]] bool IsKnownLoss(std::string_view kind);

/// The errors that a call of this name can plausibly give.
[[nodiscard]] std::vector<platform::DWORD> GetPlausibleErrors(const std::string& call);

/// The promises that a run broke in which `fault` first met the call at `place` of the run without
/// it. The kind of that call is added to `losses` if the run took a package that the other kept.
[[nodiscard]] std::string FindBrokenPromisesBehind(const GeneratedMachine& generated,
                                                   const FinishedRun& without, const Fault& fault,
                                                   std::size_t place,
                                                   std::set<std::string>& losses);

}  // namespace test
