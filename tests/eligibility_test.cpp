#include "product/eligibility.h"

#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;

const std::string kPolicyLine =
    "GetPatchCleanupFeatureLockState: Checking registry at "
    "SOFTWARE\\Policies\\Kelvane\\Kelvane Ostrel\\ZR\\FeatureLockDown\n";
const std::string kNotFound =
    "PatchCleanupEnabled value not found in registry. Falling back to default behavior.\n";

struct PolicyCase {
    const char* value;
    FeatureLockState state;
    std::string line;
};

TEST(FeatureLockPolicy, OnlyADwordOfZeroOrOneIsAPolicy) {
    const std::string name = "FeatureLockDown: PatchCleanupEnabled ";
    const std::string unexpected = "has unexpected value. Falling back to default behavior.\n";
    const PolicyCase cases[] = {
        {"\"PatchCleanFlag\"=dword:1", FeatureLockState::Enabled,
         name + "is set to 1 (Enabled).\n"},
        {"\"PatchCleanFlag\"=dword:0", FeatureLockState::Disabled,
         name + "is set to 0 (Disabled).\n"},
        {"\"PatchCleanFlag\"=dword:2", FeatureLockState::NotSet, name + unexpected},
        {"\"PatchCleanFlag\"=\"1\"", FeatureLockState::NotSet, kNotFound},
        {"\"PatchCleanFlag\"=hex(4):01,00,00,00,00", FeatureLockState::NotSet, kNotFound},
        {"\"PatchCleanupEnabled\"=dword:0", FeatureLockState::NotSet, kNotFound},
    };
    for (const PolicyCase& row : cases) {
        SCOPED_TRACE(row.value);
        Machine machine = MakeMachine();
        SetValue(machine, kPolicy, row.value);
        RunWithLog(machine,
                   [&] { EXPECT_EQ(GetPatchCleanupFeatureLockState(kProduct), row.state); });
        EXPECT_EQ(LogText(machine), kPolicyLine + row.line);
        EXPECT_EQ(NumbersOf(machine, "RegOpenKeyExW"), (std::vector<std::uint64_t>{0, 0x20019}));
    }
}

TEST(FeatureLockPolicy, WithoutAKeyOrATrackItIsNotSet) {
    Machine machine = MakeMachine();
    machine.registry.SetDword(kPolicy, u"PatchCleanFlag", 0);
    AddFault(machine, "RegOpenKeyExW", kPolicy, 5);
    RunWithLog(machine, [&] {
        EXPECT_EQ(GetPatchCleanupFeatureLockState(kProduct), FeatureLockState::NotSet);
        machine.calls.clear();
        EXPECT_EQ(GetPatchCleanupFeatureLockState(u"short"), FeatureLockState::NotSet);
    });
    EXPECT_EQ(LogText(machine),
              kPolicyLine +
                  "FeatureLockDown registry key not found. Falling back to default behavior.\n"
                  "GetPatchCleanupFeatureLockState: Unknown product track from ProductCode.\n");
    for (const auto& call : machine.calls)
        EXPECT_NE(call.call.substr(0, 3), "Reg")
            << "the registry is not asked for an unknown track";
}

TEST(FeatureLockPolicy, FollowsTrackAndFamilyAndNotTheRoot) {
    Machine machine = MakeMachine();
    machine.registry.SetDword(
        u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Policies\\Kelvane\\Ostrel Lumeth\\ESR\\FeatureLockDown",
        u"PatchCleanFlag", 0);
    RunWithLog(machine, [] {
        EXPECT_EQ(GetPatchCleanupFeatureLockState(u"{5B7A90E1-4D2E-6C3B-8A54-AEE15B3D6C30}"),
                  FeatureLockState::Disabled);
    });
}

TEST(CleanupInterval, IsNinetyDaysAndWraps) {
    EXPECT_TRUE(HasIntervalPassed(kNow, kNow - 7'776'000));
    EXPECT_FALSE(HasIntervalPassed(kNow, kNow - 7'775'999));
    EXPECT_FALSE(HasIntervalPassed(kNow, kNow));
    EXPECT_TRUE(HasIntervalPassed(kNow, kNow + 1)) << "a time in the future holds nothing back";
    EXPECT_FALSE(HasIntervalPassed(100, 0xFFFFFFFF)) << "behind 2106 the numbers begin anew";
}

TEST(CleanupInterval, OnlyAUsableTimeHoldsACleanupBack) {
    Machine machine = MakeMachine();
    const auto check = [&](const std::u16string& productCode) {
        bool passes = false;
        RunWithLog(machine, [&] { passes = CheckCleanupDuration(productCode); });
        return passes;
    };
    EXPECT_TRUE(check(kProduct));
    EXPECT_TRUE(check(u"no such product"));
    SetValue(machine, kStore, "\"CleanupTime\"=hex(1):c6,55,fd,6a");
    EXPECT_TRUE(check(kProduct));
    SetValue(machine, kStore, "\"CleanupTime\"=dword:6afd55c6");
    EXPECT_FALSE(check(kProduct));
    EXPECT_EQ(LogBytes(machine), "(no log)");
}

struct SampleCase {
    const char* value;
    bool passes;
    std::string lines;  ///< behind the line that names the key
};

TEST(UserSampling, TakesTheBandOfIRandomOnZR) {
    const std::string key = "SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR\\WebResource";
    const std::string eligible = "Eligible for cleanup based on iRandom sampling.\n";
    const auto numbers = [](const std::string& stored, const std::string& taken) {
        return "GetIRandomFromRegistry: iRandom = " + stored + "\niRandom: " + taken + "\n";
    };
    const SampleCase cases[] = {
        {"dword:00000d77", true, numbers("3447", "3447") + eligible},
        {"dword:00000d76", false, numbers("3446", "3446")},
        {"dword:000015ff", true, numbers("5631", "5631") + eligible},
        {"dword:00001600", false, numbers("5632", "5632")},
        {"dword:80000000", false, numbers("2147483648", "-2147483648")},
        {"dword:ffffffff", false, "GetIRandomFromRegistry: iRandom = 4294967295\n"},
        {"\"5\"", false, numbers("53", "53")},
        {"hex:07", false, numbers("7", "7")},
        {"\"47\"", false, "RegQueryValueExW failed for iRandom in: " + key + " (Error 234)\n"},
    };
    for (const SampleCase& row : cases) {
        SCOPED_TRACE(row.value);
        Machine machine = MakeMachine();
        SetValue(machine, kRoot + u"\\WebResource", "\"iRandom\"=" + std::string(row.value));
        RunWithLog(machine, [&] { EXPECT_EQ(IsExpEnableForUser(kProduct), row.passes); });
        EXPECT_EQ(LogText(machine),
                  "GetIRandomFromRegistry: Reading iRandom from " + key + "\n" + row.lines);
    }
}

TEST(UserSampling, RefusesWithoutKeyOrTrackAndAsksNothingOnTrunkAndBeta) {
    Machine machine = MakeMachine();
    machine.registry.RemoveKey(kRoot + u"\\WebResource");
    RunWithLog(machine, [] {
        EXPECT_FALSE(IsExpEnableForUser(kProduct));
        EXPECT_FALSE(IsExpEnableForUser(u"short"));
        EXPECT_EQ(GetIRandomFromRegistry(u"short"), -1);
        EXPECT_TRUE(IsExpEnableForUser(u"{5B7A90E1-4D2E-4C19-8A54-A8E15B3D6C30}"));
        EXPECT_TRUE(IsExpEnableForUser(u"{5B7A90E1-4D2E-4C19-8A54-ABE15B3D6C30}"));
    });
    EXPECT_EQ(LogText(machine),
              "GetIRandomFromRegistry: Reading iRandom from "
              "SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR\\WebResource\n"
              "RegOpenKeyExW failed for: SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR\\WebResource "
              "(Error 2)\n"
              "IsExpEnableForUser: Unknown product track from ProductCode.\n"
              "GetIRandomFromRegistry: Unknown product track from ProductCode.\n");
}

}  // namespace
}  // namespace saltrove
