#pragma once

#include "platform/simulated/machine/registry_store.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace platform::simulated {

/// What Windows Installer knows of products and patches, read out of its registry tree.
///
/// Keeps what it has worked out until the registry changes, so that walking a list by index costs
/// one step an item. Codes are GUIDs in brace form; one that does not have that form is unknown.
class InstallerTree {
  public:
    struct Delivery {
        std::u16string patchCode;
        std::u16string productCode;
    };

    /// The patches of one product, or of all when `productCode` is null, in the states of `filter`,
    /// in the order in which the enumeration delivers them.
    const std::vector<Delivery>& Enumerate(const Registry& registry, const char16_t* productCode,
                                           DWORD filter);

    /// Whether the product holds the patch.
    bool HoldsPatch(const Registry& registry, std::u16string_view patchCode,
                    std::u16string_view productCode);

    /// A patch property as a text; nothing if it is missing, of another type or not known.
    static std::optional<std::u16string> ReadProperty(const Registry& registry,
                                                      std::u16string_view patchCode,
                                                      std::u16string_view productCode,
                                                      std::u16string_view property);

  private:
    struct Product {
        std::vector<std::u16string> patches;  ///< packed, in the order of the product's list
        std::set<std::u16string> held;        ///< the same in one letter case
    };

    /// Brings everything up to the registry's present state.
    void Refresh(const Registry& registry);

    std::optional<std::uint64_t> generation_;
    std::map<std::u16string, Product> products_;  ///< by packed code, in one letter case
    std::map<std::pair<std::u16string, DWORD>, std::vector<Delivery>> deliveries_;
};

}  // namespace platform::simulated
