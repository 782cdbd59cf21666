#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The record that a run leaves on the machine: the values of the product's Cleanup key in
/// HKEY_LOCAL_MACHINE.
///
/// Each writer opens the key, creating it if it is missing, writes and closes it. None gives a
/// result: a record that cannot be written changes nothing about a run.
namespace saltrove {

/// The values of the store, beside kCleanupTimeValue.
inline constexpr const char16_t* kCurrentPatchVersionValue = u"CurrentPatchVersion";
inline constexpr const char16_t* kCurrentPatchTypeValue = u"CurrentPatchType";
inline constexpr const char16_t* kAffectedMachineValue = u"AffectedMachine";
inline constexpr const char16_t* kMarkedListValue = u"PatchMarkForDeletionList";
inline constexpr const char16_t* kOrphanCountValue = u"OrphanPatchCount";
inline constexpr const char16_t* kOrphanListValue = u"OrphanPatches";
inline constexpr const char16_t* kExitStateValue = u"ExitState";

/// The final state of a run.
enum class ExitState : std::int32_t {
    Success = 0,
    MsiUnavailable = 2,
    DisabledByPolicy = 3,
    CleanupTooRecent = 4,
    NotInSample = 5,
    OnlyIncrementalPatches = 6,
};

/// Stores `CurrentPatchVersion`, the version as it is given, and `CurrentPatchType`, which it finds
/// out in between. Logs both, or that the key could not be opened.
void LogCurrentPatchInfo(const std::u16string& productCode, const std::u16string& productVersion);

/// Stores the record of linked cleanup: `AffectedMachine`, `PatchMarkForDeletionList` (the file
/// names of `removedPaths`, full paths joined by ";", possibly empty; a ";" in one parts it) and
/// `CleanupTime`, the moment of this call, which starts the next interval. Logs nothing.
void LogCleanupRecord(const std::u16string& productCode, bool patchesCleaned,
                      std::u16string_view removedPaths);

/// Stores `OrphanPatchCount` and, if there are any, `OrphanPatches`: file names joined by ";". A
/// list of an earlier run stays beside a count of 0. Logs nothing.
void LogOrphanPatches(const std::u16string& productCode, std::int32_t orphanCount,
                      const std::u16string& orphanList);

/// Stores `AffectedMachine`. Logs nothing.
void LogAffectedMachine(const std::u16string& productCode, bool patchesCleaned);

/// Stores `ExitState` and logs it; neither if the key could not be opened.
void LogExitState(const std::u16string& productCode, ExitState exitState);

/// The file names of paths joined by ";", joined in the same way. Empty pieces are left out; a
/// piece without a backslash is a name.
[[nodiscard]] std::u16string ReduceToFileNames(std::u16string_view paths);

}  // namespace saltrove
