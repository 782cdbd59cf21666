#pragma once

#include "inventory/patch_versions.h"

#include <string>
#include <string_view>

/// What the machine stands on now, and the per-user marker of a cleaned machine.
namespace saltrove {

/// The type of the applied patch whose display name holds the product version, cut to three parts
/// (the display name's version is not cut). The first one with a readable `PackageName` decides,
/// which if it is empty stands for a cumulative patch, and kUnknownType means that there is none.
/// Logs the answer and warnings on the way.
///
/// FindCurrentPatch answers another question: it cuts both versions, and takes the first patch
/// whether or not it has a name.
[[nodiscard]] PatchType GetCurrentPatchType(const std::u16string& productVersion,
                                            const std::u16string& productCode);

/// The key of the marker, below a user's hive, for a product root; and its value.
[[nodiscard]] std::u16string GetMarkerKeyPath(std::u16string_view root);
inline constexpr const char16_t* kMarkerValue = u"iLogPatchData";

/// Sets the marker to 1 in the hive of the account that the process runs
/// under. Does nothing for a product code without a root, and fails in silence. Logs nothing.
void LogPatchMarker(const std::u16string& productCode);

}  // namespace saltrove
