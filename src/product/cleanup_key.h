#pragma once

#include "platform/types.h"

#include <optional>
#include <string>
#include <string_view>

/// The product's Cleanup key in HKEY_LOCAL_MACHINE, which holds the log's switch and the record of
/// the last run.
namespace saltrove {

/// The value that holds when the last cleanup was: the low 32 bits of seconds since 1970, UTC.
inline constexpr const char16_t* kCleanupTimeValue = u"CleanupTime";

/// The value that turns the run log on. The program never writes it.
inline constexpr const char16_t* kRunLogSwitchValue = u"EnablePatchCleanuplog";

/// The key's path below a product root, and that of a product: its root and "\Cleanup". With an
/// empty root that begins with a backslash, and no such key can be opened.
[[nodiscard]] std::u16string GetCleanupKeyPathOfRoot(std::u16string_view root);
[[nodiscard]] std::u16string GetCleanupKeyPath(std::u16string_view productCode);

/// The number in a value of the key; nothing if the key cannot be opened, or the value is missing,
/// not a REG_DWORD or longer than 4 bytes. Logs nothing.
[[nodiscard]] std::optional<platform::DWORD> QueryCleanupNumber(std::u16string_view productCode,
                                                                const char16_t* valueName);

}  // namespace saltrove
