#pragma once

#include "platform/simulated/machine/machine.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What a run changed on a machine.
namespace image {

/// A value that was set or altered. (No call that is simulated removes one.)
struct ValueChange {
    std::u16string keyPath;
    std::u16string name;
    std::optional<platform::simulated::RegistryValue> before;
    platform::simulated::RegistryValue after;
};

struct RemovedFile {
    std::u16string path;
    std::uintmax_t size = 0;
};

struct Changes {
    std::vector<std::u16string> newKeys;
    std::vector<ValueChange> values;  ///< without the value that registers restart deletions
    std::vector<RemovedFile> removedFiles;
    std::vector<std::u16string> restartDeletions;  ///< paths
};

/// Compares a machine's registry and drive of before a run with the machine after it.
[[nodiscard]] Changes CompareMachines(const platform::simulated::Registry& registryBefore,
                                      const platform::simulated::Drive& driveBefore,
                                      const platform::simulated::Machine& after);

}  // namespace image
