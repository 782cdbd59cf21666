#include "image/changes.h"

#include "platform/simulated/machine/pending_renames.h"

namespace image {

namespace {

using platform::simulated::Drive;
using platform::simulated::FileNode;
using platform::simulated::Machine;
using platform::simulated::PendingRename;
using platform::simulated::ReadPendingRenames;
using platform::simulated::Registry;
using platform::simulated::RegistryValue;
using platform::simulated::RegistryValues;

bool IsSame(const RegistryValue& a, const RegistryValue* b) {
    return b != nullptr && a.type == b->type && a.data == b->data;
}

void CompareValues(const Registry& before, const Registry& after, Changes& changes) {
    after.GetKeys().Walk([&](const std::u16string& path, const RegistryValues& values) {
        if (!before.HasKey(path))
            changes.newKeys.push_back(path);
        for (const auto& [name, value] : values) {
            const RegistryValue* oldValue = before.FindValue(path, name);
            if (IsSame(value, oldValue) || platform::simulated::IsPendingRenamesValue(path, name))
                continue;
            ValueChange& change = changes.values.emplace_back();
            change = {path, name, std::nullopt, value};
            if (oldValue != nullptr)
                change.before = *oldValue;
        }
    });
}

}  // namespace

Changes CompareMachines(const Registry& registryBefore, const Drive& driveBefore,
                        const Machine& after) {
    Changes changes;
    CompareValues(registryBefore, after.registry, changes);
    driveBefore.GetNodes().Walk([&](const std::u16string& path, const FileNode& node) {
        if (!node.isDirectory && after.drive.GetNodes().Find(path) == nullptr)
            changes.removedFiles.push_back({path, node.size});
    });
    const std::size_t oldRenames = ReadPendingRenames(registryBefore).size();
    const std::vector<PendingRename> renames = ReadPendingRenames(after.registry);
    for (std::size_t i = oldRenames; i < renames.size(); ++i)
        changes.restartDeletions.push_back(renames[i].path);
    return changes;
}

}  // namespace image
