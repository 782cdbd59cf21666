#pragma once

#include "platform/simulated/machine/registry_store.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace platform::simulated {

/// The keys under which Windows Installer keeps its products, and what it knows of them for each
/// account: below it, that of the whole machine is kMachineAccount.
inline constexpr std::u16string_view kProductsKey =
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products";
inline constexpr std::u16string_view kUserDataKey =
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData";
inline constexpr std::u16string_view kMachineAccount = u"S-1-5-18";

/// What Windows Installer knows of products and patches, read out of its registry tree.
///
/// Keeps what it has worked out until the registry changes in these places, so that walking a list
/// by index costs one step an item. Codes are GUIDs in brace form, in any letter case.
class InstallerTree {
  public:
    struct Delivery {
        std::u16string patchCode;
        std::u16string productCode;
    };

    /// Delivers the patch at `index`, counted from 0, of one product, or of all when `productCode`
    /// is null, whose state has a bit of `filter`: first those of the product's own list, then
    /// those that its key in UserData holds besides. A list that is damaged ends the enumeration
    /// where it is reached. ERROR_SUCCESS, or the error that stands behind the last patch;
    /// `delivery` is then as it was.
    DWORD Enumerate(const Registry& registry, const char16_t* productCode, DWORD filter,
                    std::size_t index, Delivery& delivery);

    /// Reads a patch property as a text, which is empty for a value that is missing or of another
    /// type. ERROR_SUCCESS, or why there is none: the product, the patch or the property is not
    /// known. Both codes are GUIDs.
    static DWORD ReadProperty(const Registry& registry, std::u16string_view patchCode,
                              std::u16string_view productCode, std::u16string_view property,
                              std::u16string& text);

  private:
    struct Patch {
        std::u16string packedCode;
        DWORD state = 0;
    };

    struct Product {
        std::u16string packedCode;   ///< in one letter case
        std::vector<Patch> patches;  ///< in the order of delivery
        DWORD end = ERROR_NO_MORE_ITEMS;
    };

    /// What an enumeration delivers, by places in products_ and in the product's patches, and the
    /// error that stands behind it.
    struct List {
        std::vector<std::pair<std::uint32_t, std::uint32_t>> places;
        DWORD end = ERROR_NO_MORE_ITEMS;
    };

    /// Brings everything up to the registry's present state.
    void Refresh(const Registry& registry);
    static Product ReadProduct(const Registry& registry, const std::u16string& packedProduct);
    [[nodiscard]] List MakeList(const std::u16string& packedProduct, DWORD filter) const;

    std::optional<std::uint64_t> generation_;
    Registry::Keys seen_;  ///< as they were when all else here was worked out, or are since
    std::vector<Product> products_;  ///< in the order of their codes
    std::map<std::pair<std::u16string, DWORD>, List> lists_;
};

/// Whether a text is a GUID in brace form.
[[nodiscard]] bool IsGuid(std::u16string_view text);

/// The product code under which the tree knows a product, in the tree's own letter case; nothing if
/// it does not know it, or `productCode` is no GUID.
[[nodiscard]] std::optional<std::u16string> FindProduct(const Registry& registry,
                                                        std::u16string_view productCode);

}  // namespace platform::simulated
