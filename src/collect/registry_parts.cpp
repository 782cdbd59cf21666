#include "collect/registry_parts.h"

#include "inventory/installer_query.h"
#include "platform/registry_access.h"
#include "platform/simulated/machine/installer_tree.h"
#include "platform/simulated/machine/pending_renames.h"
#include "platform/wide_text.h"
#include "product/cleanup_key.h"
#include "product/eligibility.h"
#include "product/product_track.h"
#include "records/cleanup_store.h"
#include "records/current_patch.h"
#include "usercontext/shell_resolution.h"

#include <array>
#include <initializer_list>
#include <optional>

namespace collect {

namespace {

using platform::DWORD;
using platform::LSTATUS;
using platform::RegistryKey;
using platform::simulated::ValueData;

constexpr std::u16string_view kMachineHive = u"HKEY_LOCAL_MACHINE\\";
constexpr std::u16string_view kUsersHive = u"HKEY_USERS\\";

/// Which of a value is taken.
enum class Extent { Whole, Presence };

std::u16string Join(std::u16string_view path, std::u16string_view name) {
    return std::u16string(path).append(u"\\").append(name);
}

/// Takes a key, without its values, and leaves it open; null if it is missing or cannot be read.
/// `path` begins with one of the two hives' names.
RegistryKey TakeKey(Collected& collected, const std::u16string& path) {
    const bool isOfMachine = path.starts_with(kMachineHive);
    const std::size_t hiveLength = isOfMachine ? kMachineHive.size() : kUsersHive.size();
    RegistryKey key;
    const LSTATUS status = platform::OpenKeyForReading(isOfMachine ? platform::HKEY_LOCAL_MACHINE
                                                                   : platform::HKEY_USERS,
                                                       path.substr(hiveLength), key);
    if (status == 0)
        collected.machine.registry.CreateKey(path);
    else if (status != static_cast<LSTATUS>(platform::ERROR_FILE_NOT_FOUND))
        NoteGap(collected, "the key", path, static_cast<DWORD>(status));
    return key;
}

/// Reads a value's bytes, of which there may be more with each try.
LSTATUS ReadValue(const RegistryKey& key, const std::u16string& name, DWORD& type,
                  ValueData& data) {
    constexpr int kMostTries = 8;
    auto status = static_cast<LSTATUS>(platform::ERROR_MORE_DATA);
    DWORD size = 256;
    for (int i = 0; i < kMostTries && status == static_cast<LSTATUS>(platform::ERROR_MORE_DATA);
         ++i) {
        data.resize(size);
        status =
            platform::RegQueryValueExW(key.get(), name.c_str(), nullptr, &type, data.data(), &size);
    }
    data.resize(status == 0 ? size : 0);
    return status;
}

/// Takes a value of a key that was taken, if it is there.
void TakeValue(Collected& collected, const RegistryKey& key, const std::u16string& path,
               const std::u16string& name, Extent extent = Extent::Whole) {
    DWORD type = platform::REG_NONE;
    ValueData data;
    const LSTATUS status = ReadValue(key, name, type, data);
    if (status == static_cast<LSTATUS>(platform::ERROR_FILE_NOT_FOUND))
        return;
    if (status != 0) {
        NoteGap(collected, "the value", Join(path, name), static_cast<DWORD>(status));
        return;
    }
    if (extent == Extent::Presence)
        data = platform::simulated::MakeTextData({});
    collected.machine.registry.SetValue(path, name, type, std::move(data));
}

/// Takes a key and some of its values.
void TakeValues(Collected& collected, const std::u16string& path,
                std::initializer_list<const char16_t*> names) {
    const RegistryKey key = TakeKey(collected, path);
    if (!key)
        return;
    for (const char16_t* name : names)
        TakeValue(collected, key, path, name);
}

/// The names of the keys right below one; none if it is missing.
std::vector<std::u16string> ListKeys(Collected& collected, const std::u16string& path) {
    std::vector<std::u16string> names;
    const RegistryKey key = TakeKey(collected, path);
    LSTATUS status = 0;
    for (DWORD index = 0; key && status == 0; ++index) {
        std::array<char16_t, 256> name{};
        DWORD size = name.size();
        status = platform::RegEnumKeyExW(key.get(), index, name.data(), &size, nullptr, nullptr,
                                         nullptr, nullptr);
        if (status == 0)
            names.emplace_back(name.data(), size);
    }
    if (key && status != static_cast<LSTATUS>(platform::ERROR_NO_MORE_ITEMS))
        NoteGap(collected, "all keys below", path, static_cast<DWORD>(status));
    return names;
}

/// The list of a product's patches, and of each code in it that something stands beside the list.
void TakePatchList(Collected& collected, const std::u16string& path) {
    const RegistryKey key = TakeKey(collected, path);
    if (!key)
        return;
    const std::u16string listName = u"Patches";
    TakeValue(collected, key, path, listName);
    const auto* list = collected.machine.registry.FindValue(path, listName);
    if (list == nullptr)
        return;
    if (list->type != platform::REG_MULTI_SZ) {
        TakeValue(collected, key, path, listName, Extent::Presence);
        return;
    }
    for (const std::u16string& code : platform::simulated::GetTextList(ValueData(list->data))) {
        // A damaged list may hold its own name.
        if (!platform::EqualsIgnoringAsciiCase(code, listName))
            TakeValue(collected, key, path, code, Extent::Presence);
    }
}

/// What is known of the patches of one product under the machine's account.
void TakeProductPatches(Collected& collected, const std::u16string& path) {
    TakeValues(collected, Join(path, u"InstallProperties"), {});
    const std::u16string patches = Join(path, u"Patches");
    for (const std::u16string& patch : ListKeys(collected, patches))
        TakeValues(collected, Join(patches, patch), {u"State", u"DisplayName"});
}

}  // namespace

void CollectCleanupStore(Collected& collected, std::u16string_view root) {
    TakeValues(collected, std::u16string(kMachineHive) + saltrove::GetCleanupKeyPathOfRoot(root),
               {saltrove::kRunLogSwitchValue, saltrove::kCleanupTimeValue,
                saltrove::kCurrentPatchVersionValue, saltrove::kCurrentPatchTypeValue,
                saltrove::kAffectedMachineValue, saltrove::kMarkedListValue,
                saltrove::kOrphanCountValue, saltrove::kOrphanListValue,
                saltrove::kExitStateValue});
}

void CollectPendingRenames(Collected& collected) {
    TakeValues(collected, std::u16string(platform::simulated::kPendingRenamesKey),
               {platform::simulated::kPendingRenamesValue});
}

void CollectProductKeys(Collected& collected, const std::set<std::u16string>& accounts) {
    const std::u16string machine(kMachineHive);
    for (const std::u16string_view root : saltrove::GetProductRoots())
        CollectCleanupStore(collected, root);
    for (const std::u16string_view family : saltrove::kProductFamilyKeys) {
        for (const saltrove::ProductTrack track : saltrove::kProductTracks) {
            TakeValues(collected, machine + saltrove::GetPolicyKeyPath(family, track),
                       {saltrove::kPolicyValue});
            TakeValues(collected, machine + saltrove::GetSampleKeyPath(family, track),
                       {saltrove::kSampleValue});
        }
    }
    // Winlogon's key may hold the password of an automatic sign-on beside the shell.
    const std::u16string winlogon(saltrove::kWinlogonKeyPath);
    TakeValues(collected, machine + winlogon, {saltrove::kShellValue});
    for (const std::u16string& account : accounts) {
        const std::u16string hive = std::u16string(kUsersHive) + account;
        TakeValues(collected, Join(hive, winlogon), {saltrove::kShellValue});
        for (const std::u16string_view root : saltrove::GetProductRoots())
            TakeValues(collected, Join(hive, saltrove::GetMarkerKeyPath(root)),
                       {saltrove::kMarkerValue});
    }
    CollectPendingRenames(collected);
}

void CollectInstallerKeys(Collected& collected) {
    const std::u16string products(platform::simulated::kProductsKey);
    for (const std::u16string& product : ListKeys(collected, products)) {
        TakeValues(collected, Join(products, product), {});
        TakePatchList(collected, Join(Join(products, product), u"Patches"));
    }
    const std::u16string machine(kMachineHive);
    for (const std::u16string& patch :
         ListKeys(collected, machine + std::u16string(saltrove::kPatchesKeyPath)))
        TakeValues(collected, machine + saltrove::GetSourceListKeyPath(patch),
                   {saltrove::kPackageNameValue});
    const std::u16string userData(platform::simulated::kUserDataKey);
    for (const std::u16string& account : ListKeys(collected, userData)) {
        const std::u16string ofAccount = Join(userData, account);
        const std::u16string patches = Join(ofAccount, u"Patches");
        for (const std::u16string& patch : ListKeys(collected, patches))
            TakeValues(collected, Join(patches, patch), {u"LocalPackage"});
        if (account != platform::simulated::kMachineAccount)
            continue;
        const std::u16string ofProducts = Join(ofAccount, u"Products");
        for (const std::u16string& product : ListKeys(collected, ofProducts))
            TakeProductPatches(collected, Join(ofProducts, product));
    }
}

}  // namespace collect
