#include "records/cleanup_store.h"

#include "log/run_log.h"
#include "platform/clock.h"
#include "platform/registry_access.h"
#include "platform/wide_text.h"
#include "product/cleanup_key.h"
#include "records/current_patch.h"

#include <algorithm>

namespace saltrove {

namespace {

platform::RegistryKey OpenCleanupStore(const std::u16string& productCode) {
    return platform::CreateKey(platform::HKEY_LOCAL_MACHINE, GetCleanupKeyPath(productCode),
                               platform::KEY_WRITE);
}

void WriteAffectedMachine(const platform::RegistryKey& store, bool patchesCleaned) {
    platform::SetDword(store, kAffectedMachineValue, patchesCleaned ? 1 : 0);
}

}  // namespace

void LogCurrentPatchInfo(const std::u16string& productCode, const std::u16string& productVersion) {
    const platform::RegistryKey store = OpenCleanupStore(productCode);
    if (!store) {
        WriteRunLog(u"Failed to open registry key for logging current patch info");
        return;
    }
    platform::SetText(store, kCurrentPatchVersionValue, productVersion);
    const std::u16string type(GetCurrentPatchType(productVersion, productCode));
    platform::SetText(store, kCurrentPatchTypeValue, type);
    WriteRunLog(u"Logged current patch info - Version: " + productVersion + u", Type: " + type);
}

void LogCleanupRecord(const std::u16string& productCode, bool patchesCleaned,
                      std::u16string_view removedPaths) {
    const platform::RegistryKey store = OpenCleanupStore(productCode);
    if (!store)
        return;
    WriteAffectedMachine(store, patchesCleaned);
    platform::SetText(store, kMarkedListValue, ReduceToFileNames(removedPaths));
    platform::SetDword(store, kCleanupTimeValue,
                       static_cast<platform::DWORD>(platform::_time64(nullptr)));
}

void LogOrphanPatches(const std::u16string& productCode, std::int32_t orphanCount,
                      const std::u16string& orphanList) {
    const platform::RegistryKey store = OpenCleanupStore(productCode);
    if (!store)
        return;
    platform::SetDword(store, kOrphanCountValue, static_cast<platform::DWORD>(orphanCount));
    if (orphanCount > 0)
        platform::SetText(store, kOrphanListValue, orphanList);
}

void LogAffectedMachine(const std::u16string& productCode, bool patchesCleaned) {
    if (const platform::RegistryKey store = OpenCleanupStore(productCode))
        WriteAffectedMachine(store, patchesCleaned);
}

void LogExitState(const std::u16string& productCode, ExitState exitState) {
    const platform::RegistryKey store = OpenCleanupStore(productCode);
    if (!store)
        return;
    const auto code = static_cast<std::int32_t>(exitState);
    platform::SetDword(store, kExitStateValue, static_cast<platform::DWORD>(code));
    WriteRunLog(u"Logged exit state: " + platform::FormatDecimal(code));
}

std::u16string ReduceToFileNames(std::u16string_view paths) {
    std::u16string names;
    while (!paths.empty()) {
        const std::u16string_view piece = paths.substr(0, paths.find(u';'));
        paths.remove_prefix(std::min(piece.size() + 1, paths.size()));
        if (!piece.empty())
            platform::AppendToList(names, platform::GetFileName(piece));
    }
    return names;
}

}  // namespace saltrove
