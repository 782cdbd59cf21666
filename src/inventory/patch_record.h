#pragma once

#include "inventory/installer_query.h"
#include "platform/installer.h"

#include <cstdint>
#include <string>
#include <vector>

/// The patches that Windows Installer knows for one product.
namespace saltrove {

/// One patch of the product. A text that could not be had is empty.
struct PatchRecord {
    std::u16string localPackage;   ///< path of the cached package, as Windows Installer spells it
    std::u16string patchCode;      ///< GUID in brace form
    std::u16string version;        ///< dotted version out of the display name
    std::u16string packageName;    ///< name of the package that the patch was installed from
    std::u16string versionNumber;  ///< ten digits out of `packageName`
    std::int32_t state = 0;  ///< one of Windows Installer's patch states; 0 if it could not be read
    std::u16string displayName;
};

/// The one patch state that a decision names. It stands for itself alone, not for a bit.
inline constexpr auto kPatchStateApplied =
    static_cast<std::int32_t>(platform::MSIPATCHSTATE_APPLIED);

/// The text for a patch state in the log: "Applied", "Superseded", "Obsoleted", "Registered", or
/// "Unknown(" with the number and ")".
[[nodiscard]] std::u16string PatchStateName(std::int32_t state);

/// Every patch of the product in every state, in the order in which Windows Installer delivers
/// them, a repeated one repeated. A patch without a readable `LocalPackage` is left out; any other
/// failure leaves a field empty. Logs warnings and, at its end, the number of records. `gaps`,
/// unless it is null, is set to what was left out.
[[nodiscard]] std::vector<PatchRecord> EnumerateProductPatches(const std::u16string& productCode,
                                                               ListGaps* gaps = nullptr);

}  // namespace saltrove
