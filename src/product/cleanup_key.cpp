#include "product/cleanup_key.h"

#include "platform/registry_access.h"
#include "product/product_track.h"

namespace saltrove {

std::u16string GetCleanupKeyPathOfRoot(std::u16string_view root) {
    return std::u16string(root) + u"\\Cleanup";
}

std::u16string GetCleanupKeyPath(std::u16string_view productCode) {
    return GetCleanupKeyPathOfRoot(GetProductRoot(productCode));
}

std::optional<platform::DWORD> QueryCleanupNumber(std::u16string_view productCode,
                                                  const char16_t* valueName) {
    platform::RegistryKey key;
    if (platform::OpenKeyForReading(platform::HKEY_LOCAL_MACHINE, GetCleanupKeyPath(productCode),
                                    key) != 0)
        return std::nullopt;
    return platform::QueryDword(key, valueName);
}

}  // namespace saltrove
