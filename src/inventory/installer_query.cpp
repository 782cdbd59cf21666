#include "inventory/installer_query.h"

#include "log/run_log.h"
#include "platform/installer.h"
#include "platform/registry_access.h"
#include "platform/wide_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace saltrove {

namespace {

using platform::ReadBuffer;

constexpr std::size_t kGuidLength = 38;

// For each character of a packed GUID, the place in the braced form from which it comes.
constexpr std::array<std::size_t, 32> kPackedOrder = {
    8,  7,  6,  5,  4,  3,  2,  1,                    // first group, reversed
    13, 12, 11, 10, 18, 17, 16, 15,                   // second and third group, reversed
    21, 20, 23, 22,                                   // fourth group, pairs swapped
    26, 25, 28, 27, 30, 29, 32, 31, 34, 33, 36, 35};  // fifth group, pairs swapped

/// Reads a patch property that fits into `Capacity` characters, terminator included.
template <std::size_t Capacity>
std::optional<std::u16string> GetPatchProperty(const std::u16string& patchCode,
                                               const std::u16string& productCode,
                                               const char16_t* property) {
    std::array<char16_t, Capacity> value{};
    platform::DWORD size = Capacity;
    const platform::UINT status = platform::MsiGetPatchInfoExW(
        patchCode.c_str(), productCode.c_str(), nullptr, platform::MSIINSTALLCONTEXT_MACHINE,
        property, value.data(), &size);
    if (status != platform::ERROR_SUCCESS)
        return std::nullopt;
    return ReadBuffer(value);
}

/// Asks for the patch at `index`, which is set on success alone.
platform::UINT EnumeratePatch(const char16_t* productCode, platform::DWORD filter,
                              platform::DWORD index, EnumeratedPatch& patch) {
    std::array<char16_t, kGuidLength + 1> patchCode{};
    std::array<char16_t, kGuidLength + 1> targetProductCode{};
    const platform::UINT status = platform::MsiEnumPatchesExW(
        productCode, nullptr, platform::MSIINSTALLCONTEXT_MACHINE, filter, index, patchCode.data(),
        targetProductCode.data(), nullptr, nullptr, nullptr);
    if (status == platform::ERROR_SUCCESS)
        patch = {ReadBuffer(patchCode), ReadBuffer(targetProductCode)};
    return status;
}

}  // namespace

platform::UINT WalkPatches(const char16_t* productCode, platform::DWORD filter,
                           const std::function<Walk(const EnumeratedPatch&)>& visit) {
    EnumeratedPatch patch;
    // An index that came round to 0 would begin the list again.
    constexpr platform::DWORD kEnd = std::numeric_limits<platform::DWORD>::max();
    for (platform::DWORD index = 0; index != kEnd; ++index) {
        const platform::UINT status = EnumeratePatch(productCode, filter, index, patch);
        if (status != platform::ERROR_SUCCESS || visit(patch) == Walk::Stop)
            return status;
    }
    return platform::ERROR_NO_MORE_ITEMS;
}

std::optional<std::u16string> GetLocalPackage(const std::u16string& patchCode,
                                              const std::u16string& productCode) {
    return GetPatchProperty<platform::MAX_PATH>(patchCode, productCode, u"LocalPackage");
}

std::u16string GetPatchDisplayName(const std::u16string& patchCode,
                                   const std::u16string& productCode) {
    const std::optional<std::u16string> displayName =
        GetPatchProperty<128>(patchCode, productCode, u"DisplayName");
    if (!displayName)
        WriteRunLog(u"  [WARN] Failed to get display name for patch: " + patchCode);
    return displayName.value_or(u"");
}

std::int32_t GetPatchState(const std::u16string& patchCode, const std::u16string& productCode) {
    const std::optional<std::u16string> state =
        GetPatchProperty<10>(patchCode, productCode, u"State");
    return state ? ReadDecimalPrefix(*state) : 0;
}

std::u16string GetSourceListKeyPath(std::u16string_view packedPatchCode) {
    return std::u16string(kPatchesKeyPath) + u"\\" + std::u16string(packedPatchCode) +
           u"\\SourceList";
}

std::optional<std::u16string> ReadPackageName(const std::u16string& patchCode) {
    const std::optional<std::u16string> packedCode = PackGuid(patchCode);
    if (!packedCode)
        return std::nullopt;
    platform::RegistryKey key;
    const std::u16string keyPath = GetSourceListKeyPath(*packedCode);
    if (platform::OpenKeyForReading(platform::HKEY_LOCAL_MACHINE, keyPath, key) != 0)
        return std::nullopt;
    std::array<char16_t, 260> packageName{};
    platform::DWORD size = sizeof(packageName);
    if (platform::RegQueryValueExW(key.get(), kPackageNameValue, nullptr, nullptr,
                                   reinterpret_cast<platform::BYTE*>(packageName.data()),
                                   &size) != 0)
        return std::nullopt;
    return ReadBuffer(packageName);
}

std::optional<std::u16string> PackGuid(std::u16string_view guid) {
    if (guid.size() != kGuidLength || guid.front() != u'{' || guid.back() != u'}')
        return std::nullopt;
    std::u16string packed;
    for (const std::size_t position : kPackedOrder)
        packed.push_back(guid[position]);
    return packed;
}

std::int32_t ReadDecimalPrefix(std::u16string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(u" \t\n\v\f\r"), text.size()));
    const bool isNegative = text.starts_with(u'-');
    if (isNegative || text.starts_with(u'+'))
        text.remove_prefix(1);
    const std::int64_t limit =
        std::int64_t{std::numeric_limits<std::int32_t>::max()} + (isNegative ? 1 : 0);
    std::int64_t number = 0;
    for (const char16_t character : text) {
        if (character < u'0' || character > u'9')
            break;
        number = std::min(number * 10 + (character - u'0'), limit);
    }
    return static_cast<std::int32_t>(isNegative ? -number : number);
}

}  // namespace saltrove
