#include "records/current_patch.h"

#include "inventory/installer_query.h"
#include "log/run_log.h"
#include "platform/installer.h"
#include "platform/registry_access.h"
#include "product/product_track.h"

#include <optional>

namespace saltrove {

namespace {

/// The package name of an applied patch if it is one of version `target`; nothing if it is another
/// or something about it cannot be read.
std::optional<std::u16string> ReadPackageNameOfVersion(const std::u16string& target,
                                                       const std::u16string& patchCode,
                                                       const std::u16string& productCode) {
    if (!GetLocalPackage(patchCode, productCode))
        return std::nullopt;
    if (ExtractVersionFromDisplayName(GetPatchDisplayName(patchCode, productCode)) != target)
        return std::nullopt;
    return ReadPackageName(patchCode);
}

}  // namespace

PatchType GetCurrentPatchType(const std::u16string& productVersion,
                              const std::u16string& productCode) {
    const std::u16string target = NormalizeVersion(productVersion);
    std::optional<std::u16string> packageName;
    WalkPatches(productCode.c_str(), platform::MSIPATCHSTATE_APPLIED,
                [&](const EnumeratedPatch& patch) {
                    packageName = ReadPackageNameOfVersion(target, patch.patchCode, productCode);
                    return packageName ? Walk::Stop : Walk::GoOn;
                });
    if (!packageName) {
        WriteRunLog(u"Unable to determine patch type");
        return kUnknownType;
    }
    // An empty name counts as cumulative here.
    const PatchType type = IsIncrementalPackage(*packageName) ? kIncremental : kCumulative;
    WriteRunLog(u"Current applied patch is " + std::u16string(type) + u": " + *packageName);
    return type;
}

std::u16string GetMarkerKeyPath(std::u16string_view root) {
    return std::u16string(root) + u"\\KXPrivate";
}

void LogPatchMarker(const std::u16string& productCode) {
    const std::u16string root = GetProductRoot(productCode);
    if (root.empty())
        return;
    const platform::RegistryKey key =
        platform::CreateKey(platform::HKEY_CURRENT_USER, GetMarkerKeyPath(root),
                            platform::KEY_SET_VALUE | platform::KEY_WOW64_64KEY);
    if (key)
        platform::SetDword(key, kMarkerValue, 1);
}

}  // namespace saltrove
