#include "inventory/patch_record.h"

#include "inventory/installer_query.h"
#include "inventory/patch_versions.h"
#include "log/run_log.h"
#include "platform/wide_text.h"

#include <optional>

namespace saltrove {

namespace {

using platform::FormatDecimal;

std::optional<PatchRecord> ReadPatch(const std::u16string& patchCode,
                                     const std::u16string& productCode) {
    std::optional<std::u16string> localPackage = GetLocalPackage(patchCode, productCode);
    if (!localPackage)
        return std::nullopt;
    PatchRecord record;
    record.localPackage = *std::move(localPackage);
    record.patchCode = patchCode;
    record.version = ExtractVersionFromDisplayName(GetPatchDisplayName(patchCode, productCode));
    record.packageName = ReadPackageName(patchCode).value_or(u"");
    record.versionNumber = ExtractVersionNumber(record.packageName);
    record.state = GetPatchState(patchCode, productCode);
    return record;
}

}  // namespace

std::u16string PatchStateName(std::int32_t state) {
    switch (static_cast<platform::DWORD>(state)) {
    case platform::MSIPATCHSTATE_APPLIED:
        return u"Applied";
    case platform::MSIPATCHSTATE_SUPERSEDED:
        return u"Superseded";
    case platform::MSIPATCHSTATE_OBSOLETED:
        return u"Obsoleted";
    case platform::MSIPATCHSTATE_REGISTERED:
        return u"Registered";
    default:
        return u"Unknown(" + FormatDecimal(state) + u")";
    }
}

std::vector<PatchRecord> EnumerateProductPatches(const std::u16string& productCode) {
    std::vector<PatchRecord> patches;
    WalkPatches(productCode.c_str(), platform::MSIPATCHSTATE_ALL,
                [&](const EnumeratedPatch& patch) {
                    if (std::optional<PatchRecord> record = ReadPatch(patch.patchCode, productCode))
                        patches.push_back(*std::move(record));
                    return Walk::GoOn;
                });
    WriteRunLog(u"Found " + FormatDecimal(std::ssize(patches)) + u" installed patches");
    return patches;
}

}  // namespace saltrove
