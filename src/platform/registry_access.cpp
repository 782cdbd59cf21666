#include "platform/registry_access.h"

#include <cstddef>

namespace platform {

LSTATUS OpenKeyForReading(HKEY hive, const std::u16string& path, RegistryKey& key) {
    HKEY opened = nullptr;
    const LSTATUS status = RegOpenKeyExW(hive, path.c_str(), 0, KEY_READ, &opened);
    if (status == 0)
        key.reset(opened);
    return status;
}

RegistryKey CreateKey(HKEY hive, const std::u16string& path, DWORD access) {
    HKEY opened = nullptr;
    const LSTATUS status = RegCreateKeyExW(hive, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                           access, nullptr, &opened, nullptr);
    return RegistryKey(status == 0 ? opened : nullptr);
}

std::optional<DWORD> QueryDword(const RegistryKey& key, const char16_t* valueName) {
    DWORD number = 0;
    DWORD size = sizeof(number);
    DWORD type = REG_DWORD;
    const LSTATUS status = RegQueryValueExW(key.get(), valueName, nullptr, &type,
                                            reinterpret_cast<BYTE*>(&number), &size);
    if (status != 0 || type != REG_DWORD)
        return std::nullopt;
    return number;
}

void SetDword(const RegistryKey& key, const char16_t* valueName, DWORD number) {
    RegSetValueExW(key.get(), valueName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                   sizeof(number));
}

void SetText(const RegistryKey& key, const char16_t* valueName, const std::u16string& text) {
    const std::size_t size = (text.size() + 1) * sizeof(char16_t);
    RegSetValueExW(key.get(), valueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>(size));
}

}  // namespace platform
