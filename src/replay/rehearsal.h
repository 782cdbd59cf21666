#pragma once

#include "platform/simulated/machine/machine.h"

#include <chrono>
#include <optional>
#include <string>

namespace replay {

/// What a rehearsal takes to be otherwise than the image says.
struct Rehearsal {
    bool log = false;    ///< the run log is on
    bool force = false;  ///< policy forces the run
    std::optional<std::chrono::sys_time<std::chrono::milliseconds>> now;
};

/// Sets up `machine` accordingly, in memory alone, for a run on `productCode`. Throws UsageError if
/// the product code is one for which the log cannot be on or policy cannot be set, since it names
/// no product.
void ApplyRehearsal(const Rehearsal& rehearsal, const std::u16string& productCode,
                    platform::simulated::Machine& machine);

}  // namespace replay
