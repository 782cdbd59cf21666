#include "product/eligibility.h"

#include "log/run_log.h"
#include "platform/clock.h"
#include "platform/registry_access.h"
#include "platform/wide_text.h"
#include "product/cleanup_key.h"
#include "product/product_track.h"

#include <optional>

namespace saltrove {

namespace {

using platform::FormatDecimal;

/// The part of the two key paths that the family and the track decide, a backslash in front.
std::u16string BuildFamilyAndTrackPath(std::u16string_view family, ProductTrack track) {
    std::u16string path(u"\\");
    path += family;
    path += u'\\';
    path += GetTrackName(track);
    return path;
}

std::u16string FormatErrorSuffix(platform::LSTATUS status) {
    return u" (Error " + FormatDecimal(static_cast<platform::DWORD>(status)) + u")";
}

std::optional<platform::DWORD> ReadPatchCleanFlag(const std::u16string& keyPath) {
    platform::RegistryKey key;
    if (platform::OpenKeyForReading(platform::HKEY_LOCAL_MACHINE, keyPath, key) != 0) {
        WriteRunLog(u"FeatureLockDown registry key not found. Falling back to default behavior.");
        return std::nullopt;
    }
    const std::optional<platform::DWORD> flag = platform::QueryDword(key, kPolicyValue);
    key.reset();
    if (!flag)
        WriteRunLog(u"PatchCleanupEnabled value not found in registry. Falling back to default "
                    u"behavior.");
    return flag;
}

}  // namespace

std::u16string GetPolicyKeyPath(std::u16string_view family, ProductTrack track) {
    return u"SOFTWARE\\Policies\\Kelvane" + BuildFamilyAndTrackPath(family, track) +
           u"\\FeatureLockDown";
}

std::u16string GetSampleKeyPath(std::u16string_view family, ProductTrack track) {
    return u"SOFTWARE\\Kelvane" + BuildFamilyAndTrackPath(family, track) + u"\\WebResource";
}

FeatureLockState GetPatchCleanupFeatureLockState(const std::u16string& productCode) {
    const std::optional<ProductTrack> track = GetProductTrack(productCode);
    if (!track) {
        WriteRunLog(u"GetPatchCleanupFeatureLockState: Unknown product track from ProductCode.");
        return FeatureLockState::NotSet;
    }
    const std::u16string keyPath = GetPolicyKeyPath(GetProductFamilyKey(productCode), *track);
    WriteRunLog(u"GetPatchCleanupFeatureLockState: Checking registry at " + keyPath);
    const std::optional<platform::DWORD> flag = ReadPatchCleanFlag(keyPath);
    if (!flag)
        return FeatureLockState::NotSet;
    switch (*flag) {
    case 1:
        WriteRunLog(u"FeatureLockDown: PatchCleanupEnabled is set to 1 (Enabled).");
        return FeatureLockState::Enabled;
    case 0:
        WriteRunLog(u"FeatureLockDown: PatchCleanupEnabled is set to 0 (Disabled).");
        return FeatureLockState::Disabled;
    default:
        WriteRunLog(u"FeatureLockDown: PatchCleanupEnabled has unexpected value. Falling back to "
                    u"default behavior.");
        return FeatureLockState::NotSet;
    }
}

bool HasIntervalPassed(std::uint32_t now, std::uint32_t lastCleanup) {
    constexpr std::uint32_t kCleanupInterval = 90U * 86'400U;
    return now - lastCleanup >= kCleanupInterval;
}

bool CheckCleanupDuration(const std::u16string& productCode) {
    const std::optional<platform::DWORD> lastCleanup =
        QueryCleanupNumber(productCode, kCleanupTimeValue);
    if (!lastCleanup)
        return true;
    return HasIntervalPassed(static_cast<std::uint32_t>(platform::_time64(nullptr)), *lastCleanup);
}

std::int32_t GetIRandomFromRegistry(const std::u16string& productCode) {
    const std::optional<ProductTrack> track = GetProductTrack(productCode);
    if (!track) {
        WriteRunLog(u"GetIRandomFromRegistry: Unknown product track from ProductCode.");
        return -1;
    }
    const std::u16string keyPath = GetSampleKeyPath(GetProductFamilyKey(productCode), *track);
    WriteRunLog(u"GetIRandomFromRegistry: Reading iRandom from " + keyPath);
    platform::RegistryKey key;
    const platform::LSTATUS opened =
        platform::OpenKeyForReading(platform::HKEY_LOCAL_MACHINE, keyPath, key);
    if (opened != 0) {
        WriteRunLog(u"RegOpenKeyExW failed for: " + keyPath + FormatErrorSuffix(opened));
        return -1;
    }
    platform::DWORD iRandom = 0;
    platform::DWORD size = sizeof(iRandom);
    const platform::LSTATUS queried =
        platform::RegQueryValueExW(key.get(), kSampleValue, nullptr, nullptr,
                                   reinterpret_cast<platform::BYTE*>(&iRandom), &size);
    key.reset();
    if (queried != 0) {
        WriteRunLog(u"RegQueryValueExW failed for iRandom in: " + keyPath +
                    FormatErrorSuffix(queried));
        return -1;
    }
    WriteRunLog(u"GetIRandomFromRegistry: iRandom = " + FormatDecimal(iRandom));
    return static_cast<std::int32_t>(iRandom);
}

bool IsExpEnableForUser(const std::u16string& productCode) {
    const std::optional<ProductTrack> track = GetProductTrack(productCode);
    if (!track) {
        WriteRunLog(u"IsExpEnableForUser: Unknown product track from ProductCode.");
        return false;
    }
    if (*track == ProductTrack::Beta || *track == ProductTrack::Trunk)
        return true;
    const std::int32_t iRandom = GetIRandomFromRegistry(productCode);
    if (iRandom == -1)
        return false;
    WriteRunLog(u"iRandom: " + FormatDecimal(iRandom));
    if (!IsInSamplingBand(iRandom))
        return false;
    WriteRunLog(u"Eligible for cleanup based on iRandom sampling.");
    return true;
}

}  // namespace saltrove
