#include "platform/simulated/machine/installer_tree.h"

#include "platform/installer.h"

namespace platform::simulated {

namespace {

const std::u16string kProducts = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products";
const std::u16string kUserData =
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\"
    u"S-1-5-18";

constexpr std::size_t kPackedLength = 32;
constexpr std::size_t kBracedLength = 38;

// The lengths of the runs that packing turns around: the first three groups of a GUID as a whole,
// then the pairs of the other two.
constexpr std::size_t kRuns[] = {8, 4, 4, 2, 2, 2, 2, 2, 2, 2, 2};

/// Turns every run around, which is packing and unpacking in one.
std::u16string TurnRuns(std::u16string_view digits) {
    std::u16string turned;
    for (const std::size_t run : kRuns) {
        const std::u16string_view part = digits.substr(turned.size(), run);
        turned.append(part.rbegin(), part.rend());
    }
    return turned;
}

/// The packed form of a braced GUID in one letter case; empty for any other text.
std::u16string Pack(std::u16string_view braced) {
    std::u16string digits;
    for (const char16_t character : braced) {
        if (character != u'{' && character != u'-' && character != u'}')
            digits.push_back(ToUpper(character));
    }
    const bool hasForm = braced.size() == kBracedLength && braced.front() == u'{' &&
                         braced.back() == u'}' && digits.size() == kPackedLength;
    return hasForm ? TurnRuns(digits) : std::u16string();
}

std::u16string Unpack(std::u16string_view packed) {
    std::u16string braced = u'{' + TurnRuns(packed) + u'}';
    for (const std::size_t hyphen : {9U, 14U, 19U, 24U})
        braced.insert(hyphen, 1, u'-');
    return braced;
}

std::u16string BuildPatchKeyPath(std::u16string_view packedProduct, std::u16string_view patch) {
    return kUserData + u"\\Products\\" + std::u16string(packedProduct) + u"\\Patches\\" +
           std::u16string(patch);
}

bool IsInStates(const Registry& registry, std::u16string_view packedProduct,
                std::u16string_view packedPatch, DWORD filter) {
    const std::optional<DWORD> state =
        GetDword(registry.FindValue(BuildPatchKeyPath(packedProduct, packedPatch), u"State"));
    return state ? (*state & filter) != 0 : filter == MSIPATCHSTATE_ALL;
}

std::optional<std::u16string> ReadText(const Registry& registry, const std::u16string& keyPath,
                                       std::u16string_view name) {
    const RegistryValue* value = registry.FindValue(keyPath, name);
    if (value == nullptr || value->type != REG_SZ)
        return std::nullopt;
    return GetText(value->data);
}

}  // namespace

void InstallerTree::Refresh(const Registry& registry) {
    if (generation_ == registry.GetGeneration())
        return;
    generation_ = registry.GetGeneration();
    products_.clear();
    deliveries_.clear();
    for (const Registry::Keys::Entry* key : registry.GetKeys().GetChildren(kProducts)) {
        const std::u16string packed =
            FoldCase(std::u16string_view(key->path).substr(kProducts.size() + 1));
        if (packed.size() != kPackedLength)
            continue;
        Product& product = products_[packed];
        const RegistryValue* list = registry.FindValue(key->path + u"\\Patches", u"Patches");
        if (list == nullptr || list->type != REG_MULTI_SZ)
            continue;
        for (const std::u16string& patch : GetTextList(list->data)) {
            if (patch.size() != kPackedLength)
                continue;
            product.patches.push_back(patch);
            product.held.insert(FoldCase(patch));
        }
    }
}

const std::vector<InstallerTree::Delivery>&
InstallerTree::Enumerate(const Registry& registry, const char16_t* productCode, DWORD filter) {
    Refresh(registry);
    const std::u16string wanted = productCode == nullptr ? u"*" : Pack(productCode);
    const auto [place, isNew] = deliveries_.try_emplace({wanted, filter});
    if (!isNew)
        return place->second;
    for (const auto& [packedProduct, product] : products_) {
        if (productCode != nullptr && packedProduct != wanted)
            continue;
        for (const std::u16string& patch : product.patches) {
            if (IsInStates(registry, packedProduct, patch, filter))
                place->second.push_back({Unpack(patch), Unpack(packedProduct)});
        }
    }
    return place->second;
}

bool InstallerTree::HoldsPatch(const Registry& registry, std::u16string_view patchCode,
                               std::u16string_view productCode) {
    Refresh(registry);
    const auto product = products_.find(Pack(productCode));
    return product != products_.end() && product->second.held.contains(Pack(patchCode));
}

std::optional<std::u16string> InstallerTree::ReadProperty(const Registry& registry,
                                                          std::u16string_view patchCode,
                                                          std::u16string_view productCode,
                                                          std::u16string_view property) {
    const std::u16string patch = Pack(patchCode);
    if (property == u"LocalPackage")
        return ReadText(registry, kUserData + u"\\Patches\\" + patch, property);
    const std::u16string keyPath = BuildPatchKeyPath(Pack(productCode), patch);
    if (property == u"DisplayName")
        return ReadText(registry, keyPath, property);
    if (property != u"State")
        return std::nullopt;
    const std::optional<DWORD> state = GetDword(registry.FindValue(keyPath, property));
    if (!state)
        return std::nullopt;
    const std::string digits = std::to_string(*state);
    return std::u16string(digits.begin(), digits.end());
}

}  // namespace platform::simulated
