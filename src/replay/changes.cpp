#include "replay/changes.h"

#include "platform/simulated/machine/pending_renames.h"

namespace replay {

namespace {

using platform::simulated::Drive;
using platform::simulated::Machine;
using platform::simulated::PendingRename;
using platform::simulated::ReadPendingRenames;
using platform::simulated::Registry;
using platform::simulated::RegistryValue;

std::optional<RegistryValue> FindValueAt(const Registry& registry, const std::u16string& keyPath,
                                         const std::u16string& name) {
    const RegistryValue* value = registry.FindValue(keyPath, name);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

bool IsSame(const RegistryValue& a, const std::optional<RegistryValue>& b) {
    return b && a.type == b->type && a.data == b->data;
}

void CompareValues(const Registry& before, const Registry& after, Changes& changes) {
    for (const auto& [key, entry] : after.GetKeys()) {
        if (!before.HasKey(entry.path))
            changes.newKeys.push_back(entry.path);
        for (const auto& [foldedName, value] : entry.content) {
            std::optional<RegistryValue> old = FindValueAt(before, entry.path, value.name);
            if (!IsSame(value, old) &&
                !platform::simulated::IsPendingRenamesValue(entry.path, value.name))
                changes.values.push_back({entry.path, value.name, std::move(old), value});
        }
    }
}

}  // namespace

Changes CompareMachines(const Registry& registryBefore, const Drive& driveBefore,
                        const Machine& after) {
    Changes changes;
    CompareValues(registryBefore, after.registry, changes);
    for (const auto& [key, entry] : driveBefore.GetNodes()) {
        if (!entry.content.isDirectory && after.drive.GetNodes().Find(entry.path) == nullptr)
            changes.removedFiles.push_back({entry.path, entry.content.size});
    }
    const std::size_t oldRenames = ReadPendingRenames(registryBefore).size();
    const std::vector<PendingRename> renames = ReadPendingRenames(after.registry);
    for (std::size_t i = oldRenames; i < renames.size(); ++i)
        changes.restartDeletions.push_back(renames[i].path);
    return changes;
}

}  // namespace replay
