#pragma once

#include "platform/registry.h"

#include <memory>
#include <optional>
#include <string>
#include <type_traits>

/// Registry keys that close themselves, and the few forms in which values are read and written.
namespace platform {

struct RegistryKeyCloser {
    void operator()(HKEY key) const {
        RegCloseKey(key);
    }
};

/// An open key, closed at the end of its scope. Never holds a predefined key.
using RegistryKey = std::unique_ptr<std::remove_pointer_t<HKEY>, RegistryKeyCloser>;

/// Opens `path` below `hive` with KEY_READ and no view flag. `key` holds the key if the result is
/// 0 and is left as it was otherwise.
[[nodiscard]] LSTATUS OpenKeyForReading(HKEY hive, const std::u16string& path, RegistryKey& key);

/// Opens `path` below `hive` with the given access, creating it and its missing parents. Null if
/// that fails.
[[nodiscard]] RegistryKey CreateKey(HKEY hive, const std::u16string& path, DWORD access);

/// The number in a value; nothing if it is missing, is not of type REG_DWORD or is longer than 4
/// bytes. Of a shorter one the missing high bytes are 0.
[[nodiscard]] std::optional<DWORD> QueryDword(const RegistryKey& key, const char16_t* valueName);

/// Sets a REG_DWORD. A failure goes unnoticed: no record may change the course of a run.
void SetDword(const RegistryKey& key, const char16_t* valueName, DWORD number);

/// Sets a REG_SZ with its terminator. A failure goes unnoticed, as with SetDword.
void SetText(const RegistryKey& key, const char16_t* valueName, const std::u16string& text);

}  // namespace platform
