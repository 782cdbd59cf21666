#include "platform/simulated/machine/installer_tree.h"

#include "platform/installer.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <unordered_set>

namespace platform::simulated {

namespace {

const std::u16string kProducts(kProductsKey);
const std::u16string kUserData =
    std::u16string(kUserDataKey) + u"\\" + std::u16string(kMachineAccount);

// Where the hyphens of a braced GUID stand.
constexpr std::size_t kHyphens[] = {9, 14, 19, 24};

// The lengths of the runs that packing turns around: the first three groups of a GUID as a whole,
// then the pairs of the other two.
constexpr std::size_t kRuns[] = {8, 4, 4, 2, 2, 2, 2, 2, 2, 2, 2};

/// Turns every run around, which is packing and unpacking in one.
std::u16string TurnRuns(std::u16string_view digits) {
    std::u16string turned;
    turned.reserve(digits.size());
    for (const std::size_t run : kRuns) {
        const std::u16string_view part = digits.substr(turned.size(), run);
        turned.append(part.rbegin(), part.rend());
    }
    return turned;
}

bool IsHexDigit(char16_t character) {
    return (character >= u'0' && character <= u'9') ||
           (ToUpper(character) >= u'A' && ToUpper(character) <= u'F');
}

bool IsPackedCode(std::u16string_view text) {
    return text.size() == 32 && std::all_of(text.begin(), text.end(), IsHexDigit);
}

/// The packed form of a GUID, in one letter case.
std::u16string Pack(std::u16string_view guid) {
    std::u16string digits;
    for (const char16_t character : guid) {
        if (IsHexDigit(character))
            digits.push_back(ToUpper(character));
    }
    return TurnRuns(digits);
}

std::u16string Unpack(std::u16string_view packed) {
    std::u16string braced = u"{" + TurnRuns(packed) + u"}";
    for (const std::size_t hyphen : kHyphens)
        braced.insert(hyphen, 1, u'-');
    return braced;
}

std::u16string BuildProductKeyPath(std::u16string_view packedProduct) {
    return kUserData + u"\\Products\\" + std::u16string(packedProduct);
}

std::u16string BuildPatchKeyPath(std::u16string_view packedProduct, std::u16string_view patch) {
    return BuildProductKeyPath(packedProduct) + u"\\Patches\\" + std::u16string(patch);
}

std::optional<DWORD> ReadState(const Registry& registry, std::u16string_view packedProduct,
                               std::u16string_view packedPatch) {
    return GetDword(registry.FindValue(BuildPatchKeyPath(packedProduct, packedPatch), u"State"));
}

std::u16string GetPropertyText(const RegistryValue* value) {
    if (value != nullptr && value->type == REG_SZ)
        return GetText(value->data);
    const std::optional<DWORD> number = GetDword(value);
    const std::string digits = number ? std::to_string(*number) : "";
    return {digits.begin(), digits.end()};
}

}  // namespace

bool IsGuid(std::u16string_view text) {
    if (text.size() != 38 || text.front() != u'{' || text.back() != u'}')
        return false;
    for (std::size_t i = 1; i + 1 < text.size(); ++i) {
        const bool isHyphen =
            std::find(std::begin(kHyphens), std::end(kHyphens), i) != std::end(kHyphens);
        if (isHyphen ? text[i] != u'-' : !IsHexDigit(text[i]))
            return false;
    }
    return true;
}

InstallerTree::Product InstallerTree::ReadProduct(const Registry& registry,
                                                  const std::u16string& packedProduct) {
    Product product;
    product.packedCode = packedProduct;
    const std::u16string listKey = kProducts + u"\\" + packedProduct + u"\\Patches";
    const RegistryValue* list = registry.FindValue(listKey, u"Patches");
    if (list != nullptr && list->type != REG_MULTI_SZ) {
        product.end = ERROR_BAD_CONFIGURATION;
        return product;
    }
    std::unordered_set<std::u16string> listed;
    for (const std::u16string& code :
         list == nullptr ? std::vector<std::u16string>() : GetTextList(list->data)) {
        if (!IsPackedCode(code)) {
            product.end = ERROR_BAD_CONFIGURATION;
            return product;
        }
        listed.insert(FoldCase(code));
        const RegistryValue* beside = registry.FindValue(listKey, code);
        if (beside == nullptr || beside->type != REG_SZ)
            continue;
        if (!registry.HasKey(BuildPatchKeyPath(packedProduct, code)))
            product.patches.push_back({code, MSIPATCHSTATE_APPLIED});
        else if (const auto state = ReadState(registry, packedProduct, code))
            product.patches.push_back({code, *state});
    }
    const std::u16string patchesKey = BuildPatchKeyPath(packedProduct, u"");
    const std::u16string_view parent(patchesKey.data(), patchesKey.size() - 1);
    for (const std::u16string& code : registry.GetKeys().GetNames(parent)) {
        if (!IsPackedCode(code) || listed.contains(FoldCase(code)))
            continue;
        if (const auto state = ReadState(registry, packedProduct, code))
            product.patches.push_back({code, *state});
    }
    return product;
}

void InstallerTree::Refresh(const Registry& registry) {
    if (generation_ == registry.GetGeneration())
        return;
    generation_ = registry.GetGeneration();
    const Registry::Keys& keys = registry.GetKeys();
    const bool isKnown = keys.SharesFolder(seen_, kProducts) && keys.SharesFolder(seen_, kUserData);
    seen_ = keys;
    if (isKnown)
        return;
    products_.clear();
    lists_.clear();
    for (const std::u16string& code : keys.GetNames(kProducts)) {
        if (IsPackedCode(code))
            products_.push_back(ReadProduct(registry, FoldCase(code)));
    }
}

InstallerTree::List InstallerTree::MakeList(const std::u16string& packedProduct,
                                            DWORD filter) const {
    List list;
    for (std::uint32_t i = 0; i < products_.size(); ++i) {
        const Product& product = products_[i];
        if (!packedProduct.empty() && product.packedCode != packedProduct)
            continue;
        for (std::uint32_t j = 0; j < product.patches.size(); ++j) {
            if ((product.patches[j].state & filter) != 0)
                list.places.emplace_back(i, j);
        }
        list.end = product.end;
        if (list.end != ERROR_NO_MORE_ITEMS)
            break;
    }
    return list;
}

DWORD InstallerTree::Enumerate(const Registry& registry, const char16_t* productCode, DWORD filter,
                               std::size_t index, Delivery& delivery) {
    Refresh(registry);
    const std::u16string wanted = productCode == nullptr ? u"" : Pack(productCode);
    const auto [place, isNew] = lists_.try_emplace({wanted, filter});
    List& list = place->second;
    if (isNew)
        list = MakeList(wanted, filter);
    if (index >= list.places.size())
        return list.end;
    const Product& product = products_[list.places[index].first];
    delivery = {Unpack(product.patches[list.places[index].second].packedCode),
                Unpack(product.packedCode)};
    return ERROR_SUCCESS;
}

DWORD InstallerTree::ReadProperty(const Registry& registry, std::u16string_view patchCode,
                                  std::u16string_view productCode, std::u16string_view property,
                                  std::u16string& text) {
    const std::u16string product = Pack(productCode);
    const std::u16string patch = Pack(patchCode);
    if (!registry.HasKey(BuildProductKeyPath(product) + u"\\InstallProperties"))
        return ERROR_UNKNOWN_PRODUCT;
    const std::u16string ofProduct = BuildPatchKeyPath(product, patch);
    const std::u16string ofAll = kUserData + u"\\Patches\\" + patch;
    const RegistryValues* inProduct = registry.GetKeys().Find(ofProduct);
    const RegistryValues* inAll = registry.GetKeys().Find(ofAll);
    if (inProduct == nullptr || inAll == nullptr)
        return ERROR_UNKNOWN_PATCH;
    const bool isOfAll = property == u"LocalPackage";
    if (!isOfAll && property != u"State" && property != u"DisplayName")
        return ERROR_UNKNOWN_PROPERTY;
    const RegistryValues& values = isOfAll ? *inAll : *inProduct;
    const auto value = values.find(property);
    text = GetPropertyText(value == values.end() ? nullptr : &value->second);
    return ERROR_SUCCESS;
}

std::optional<std::u16string> FindProduct(const Registry& registry,
                                          std::u16string_view productCode) {
    if (!IsGuid(productCode))
        return std::nullopt;
    for (const std::u16string& products : {kProducts, kUserData + u"\\Products"}) {
        if (const auto* code = registry.GetKeys().FindName(products + u"\\" + Pack(productCode)))
            return Unpack(*code);
    }
    return std::nullopt;
}

}  // namespace platform::simulated
