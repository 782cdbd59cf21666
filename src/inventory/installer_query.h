#pragma once

#include "platform/types.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The questions that are put to Windows Installer about patches, in the per-machine context.
namespace saltrove {

/// One patch of one product, as the enumeration delivers it. Both are GUIDs in brace form.
struct EnumeratedPatch {
    std::u16string patchCode;
    std::u16string targetProductCode;
};

/// What a list of patches lacks.
struct ListGaps {
    std::vector<EnumeratedPatch> withoutPath;  ///< their `LocalPackage` could not be read
    platform::UINT end = 0;  ///< the error at which the list ended: ERROR_NO_MORE_ITEMS, or another
};

/// Whether a walk goes on behind a visit.
enum class Walk { GoOn, Stop };

/// Visits the patches of `productCode`, or of all products when it is null, whose state is in
/// `filter` (a sum of MSIPATCHSTATE_ values), in the order in which Windows Installer delivers
/// them. Each is asked for when the visit of the one before it has returned. The walk ends when a
/// visit says so, at the end of the enumeration and at every error alike. Returns what the last
/// call gave: ERROR_SUCCESS if a visit ended the walk, ERROR_NO_MORE_ITEMS at the end. Logs
/// nothing.
platform::UINT WalkPatches(const char16_t* productCode, platform::DWORD filter,
                           const std::function<Walk(const EnumeratedPatch&)>& visit);

/// The path of the patch's cached package, in the spelling that Windows Installer reports; nothing
/// if it cannot be read or has 260 characters or more. Logs nothing.
[[nodiscard]] std::optional<std::u16string> GetLocalPackage(const std::u16string& patchCode,
                                                            const std::u16string& productCode);

/// The patch's display name. If it cannot be read or has 128 characters or more, logs a warning
/// that names the patch and returns an empty text.
[[nodiscard]] std::u16string GetPatchDisplayName(const std::u16string& patchCode,
                                                 const std::u16string& productCode);

/// The patch's `State` read as a decimal number; 0 if it cannot be read. Logs nothing.
[[nodiscard]] std::int32_t GetPatchState(const std::u16string& patchCode,
                                         const std::u16string& productCode);

/// The key in HKEY_LOCAL_MACHINE that has a key for each patch, by its packed code; the key of such
/// a patch that holds its package's name; and the value that is the name.
inline constexpr std::u16string_view kPatchesKeyPath = u"SOFTWARE\\Classes\\Installer\\Patches";
[[nodiscard]] std::u16string GetSourceListKeyPath(std::u16string_view packedPatchCode);
inline constexpr const char16_t* kPackageNameValue = u"PackageName";

/// The `PackageName` of the patch's SourceList key, up to 260 characters; nothing if the patch code
/// cannot be packed, the key cannot be opened, or the value is missing or longer than 520 bytes,
/// terminator included. The value's type is not looked at. Logs nothing.
[[nodiscard]] std::optional<std::u16string> ReadPackageName(const std::u16string& patchCode);

/// A GUID in the packed form that Windows Installer uses for key names: 32 characters, the first
/// three groups reversed, the pairs of the others swapped. `guid` has to be 38 characters long, in
/// braces; otherwise there is no result. Nothing else of it is checked, and letter case stays.
[[nodiscard]] std::optional<std::u16string> PackGuid(std::u16string_view guid);

/// The decimal number at the start of a text, as `_wtoi` reads it: blanks, a sign, digits up to the
/// first other character. 0 without digits; held at the limits of 32 bits beyond them.
[[nodiscard]] std::int32_t ReadDecimalPrefix(std::u16string_view text);

}  // namespace saltrove
