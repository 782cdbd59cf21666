#include "product/eligibility.h"

#include "support/machines.h"

#include <gtest/gtest.h>

// The policy, and values of types that do not count, are tested by whole runs on images.

namespace saltrove {
namespace {

using namespace test;

TEST(CleanupInterval, IsNinetyDaysAndWraps) {
    EXPECT_TRUE(HasIntervalPassed(kNow, kNow - 7'776'000));
    EXPECT_FALSE(HasIntervalPassed(kNow, kNow - 7'775'999));
    EXPECT_FALSE(HasIntervalPassed(kNow, kNow));
    EXPECT_TRUE(HasIntervalPassed(kNow, kNow + 1)) << "a time in the future holds nothing back";
    EXPECT_FALSE(HasIntervalPassed(100, 0xFFFFFFFF)) << "behind 2106 the numbers begin anew";
}

TEST(FeatureLock, AnEmptyNumberIsZeroAndForbids) {
    Machine machine = MakeMachine();
    const std::u16string key =
        u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Policies\\Kelvane\\Kelvane Ostrel\\ZR\\FeatureLockDown";
    SetValue(machine, key, "\"PatchCleanFlag\"=hex(4):");
    RunWithLog(machine, [] {
        EXPECT_EQ(GetPatchCleanupFeatureLockState(kProduct), FeatureLockState::Disabled);
    });
}

TEST(UserSampling, TakesTheBandOfIRandomOnZR) {
    const std::string key = "SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR\\WebResource";
    const std::string where = "GetIRandomFromRegistry: Reading iRandom from " + key + "\n";
    const auto numbers = [](const std::string& stored, const std::string& taken) {
        return "GetIRandomFromRegistry: iRandom = " + stored + "\niRandom: " + taken + "\n";
    };
    const std::string eligible = "Eligible for cleanup based on iRandom sampling.\n";
    // A value, and the lines behind the one that names the key.
    const std::pair<std::string, std::string> cases[] = {
        {"dword:00000d77", numbers("3447", "3447") + eligible},
        {"dword:00000d76", numbers("3446", "3446")},
        {"dword:000015ff", numbers("5631", "5631") + eligible},
        {"dword:00001600", numbers("5632", "5632")},
        {"dword:80000000", numbers("2147483648", "-2147483648")},
        {"dword:ffffffff", "GetIRandomFromRegistry: iRandom = 4294967295\n"},
        {"\"5\"", numbers("53", "53")},
        {"hex:07", numbers("7", "7")},
        {"hex:", numbers("0", "0")},
        {"\"47\"", "RegQueryValueExW failed for iRandom in: " + key + " (Error 234)\n"},
    };
    for (const auto& [value, lines] : cases) {
        Machine machine = MakeMachine();
        SetValue(machine, kRoot + u"\\WebResource", "\"iRandom\"=" + value);
        bool passes = false;
        RunWithLog(machine, [&] { passes = IsExpEnableForUser(kProduct); });
        EXPECT_EQ(passes, lines.ends_with(eligible)) << value;
        EXPECT_EQ(ReadLogText(machine), where + lines);
        EXPECT_EQ(FindNumbers(machine, "RegOpenKeyExW"), (std::vector<std::uint64_t>{0, 0x20019}));
    }
}

TEST(UserSampling, WithoutATrackThereIsNoNumber) {
    Machine machine = MakeMachine();
    RunWithLog(machine, [] { EXPECT_EQ(GetIRandomFromRegistry(u"short"), -1); });
    EXPECT_EQ(ReadLogText(machine),
              "GetIRandomFromRegistry: Unknown product track from ProductCode.\n");
}

}  // namespace
}  // namespace saltrove
