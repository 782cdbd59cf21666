#include "inventory/patch_record.h"

#include "inventory/patch_versions.h"
#include "log/run_log.h"
#include "platform/wide_text.h"

#include <optional>
#include <utility>

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
    record.displayName = GetPatchDisplayName(patchCode, productCode);
    record.version = ExtractVersionFromDisplayName(record.displayName);
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

std::vector<PatchRecord> EnumerateProductPatches(const std::u16string& productCode,
                                                 ListGaps* gaps) {
    std::vector<PatchRecord> patches;
    ListGaps found;
    found.end = WalkPatches(
        productCode.c_str(), platform::MSIPATCHSTATE_ALL, [&](const EnumeratedPatch& patch) {
            if (std::optional<PatchRecord> record = ReadPatch(patch.patchCode, productCode))
                patches.push_back(*std::move(record));
            else
                found.withoutPath.push_back(patch);
            return Walk::GoOn;
        });
    if (gaps != nullptr)
        *gaps = std::move(found);
    WriteRunLog(u"Found " + FormatDecimal(std::ssize(patches)) + u" installed patches");
    return patches;
}

}  // namespace saltrove
