#pragma once

#include "product/product_track.h"

#include <cstdint>
#include <string>
#include <string_view>

/// Whether this machine may be cleaned now: by policy, by the time since the last cleanup, and by
/// the sample of machines that takes part. `productCode` is the command line's, unchecked. Nothing
/// here writes to the registry.
namespace saltrove {

/// The keys in HKEY_LOCAL_MACHINE of a family (one of kProductFamilyKeys) and track: that of the
/// policy, with the value kPolicyValue, and that of the machine's number for the sample.
[[nodiscard]] std::u16string GetPolicyKeyPath(std::u16string_view family, ProductTrack track);
[[nodiscard]] std::u16string GetSampleKeyPath(std::u16string_view family, ProductTrack track);
/// A REG_DWORD of 0 forbids a cleanup, of 1 forces it.
inline constexpr const char16_t* kPolicyValue = u"PatchCleanFlag";
inline constexpr const char16_t* kSampleValue = u"iRandom";

/// What machine policy says of the cleanup.
enum class FeatureLockState : std::int32_t {
    NotSet = -1,   ///< no usable policy: the interval and the sample decide
    Disabled = 0,  ///< the cleanup is forbidden
    Enabled = 1,   ///< the cleanup is forced, past interval and sample
};

/// Reads the policy value `PatchCleanFlag` of the product's family and track. Only a REG_DWORD of 0
/// or 1 is a policy. Logs where it looks and what it finds.
[[nodiscard]] FeatureLockState GetPatchCleanupFeatureLockState(const std::u16string& productCode);

/// Whether at least 90 days have passed since the stored `CleanupTime`. A time that is missing, of
/// another type or in the future does not hold a cleanup back. Logs nothing.
[[nodiscard]] bool CheckCleanupDuration(const std::u16string& productCode);

/// The machine's `iRandom` number for the product's family and track, or -1 where it cannot be had.
/// The value's type is not looked at: any value of at most 4 bytes is taken as a little-endian
/// number. Logs where it looks and what it finds.
[[nodiscard]] std::int32_t GetIRandomFromRegistry(const std::u16string& productCode);

/// Whether the machine is in the sample: always on Trunk and Beta, by `iRandom` on ZR and ESR,
/// never on an unknown track. Logs the number and, where it decided for the machine, that it did.
[[nodiscard]] bool IsExpEnableForUser(const std::u16string& productCode);

/// The rule of CheckCleanupDuration: both times are the low 32 bits of seconds since 1970, and
/// their difference wraps.
[[nodiscard]] bool HasIntervalPassed(std::uint32_t now, std::uint32_t lastCleanup);

/// The rule of IsExpEnableForUser for the tracks that are sampled.
[[nodiscard]] constexpr bool IsInSamplingBand(std::int32_t iRandom) {
    return iRandom >= 3447 && iRandom <= 5631;
}

}  // namespace saltrove
