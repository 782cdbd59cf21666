#pragma once

#include "platform/simulated/machine/machine.h"
#include "replay/package_rows.h"
#include "run/run_driver.h"

#include <string>
#include <string_view>
#include <vector>

/// What can go wrong for the machine although the run does what it is made to do.
namespace replay {

/// A hazard that a machine shows.
struct Hazard {
    std::string_view name;   ///< stable, such as "list-ended-early"
    std::u16string subject;  ///< a file or a patch; empty if it is about the whole machine
    std::u16string message;  ///< whole sentences
};

/// What hazards are looked for in.
struct HazardSources {
    const platform::simulated::Machine& before;
    const saltrove::RunRecord& record;  ///< with both phases
    const PackageTable& table;
    const std::vector<platform::simulated::UndecodedPackage>& undecodedPackages;
};

/// Every hazard, in the order of the table of their names. Has to be called on a machine.
[[nodiscard]] std::vector<Hazard> FindHazards(const HazardSources& sources);

/// The names of all hazards there are.
[[nodiscard]] std::vector<std::string_view> GetHazardNames();

}  // namespace replay
