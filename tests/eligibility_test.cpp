#include "product/eligibility.h"

#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;
using platform::REG_DWORD;
using platform::REG_SZ;
using platform::simulated::ValueData;

const std::string kPolicyLine =
    "GetPatchCleanupFeatureLockState: Checking registry at "
    "SOFTWARE\\Policies\\Kelvane\\Kelvane Ostrel\\ZR\\FeatureLockDown\n";
const std::string kNotFound =
    "PatchCleanupEnabled value not found in registry. Falling back to default behavior.\n";

struct PolicyCase {
    const char* name;
    const char16_t* valueName;
    DWORD type;
    ValueData data;
    FeatureLockState state;
    std::string line;
};

TEST(FeatureLockPolicy, OnlyADwordOfZeroOrOneIsAPolicy) {
    const PolicyCase cases[] = {
        {"Enabled",
         u"PatchCleanFlag",
         REG_DWORD,
         {1, 0, 0, 0},
         FeatureLockState::Enabled,
         "FeatureLockDown: PatchCleanupEnabled is set to 1 (Enabled).\n"},
        {"Disabled",
         u"PatchCleanFlag",
         REG_DWORD,
         {0, 0, 0, 0},
         FeatureLockState::Disabled,
         "FeatureLockDown: PatchCleanupEnabled is set to 0 (Disabled).\n"},
        {"Two",
         u"PatchCleanFlag",
         REG_DWORD,
         {2, 0, 0, 0},
         FeatureLockState::NotSet,
         "FeatureLockDown: PatchCleanupEnabled has unexpected value. Falling back to default "
         "behavior.\n"},
        {"Text", u"PatchCleanFlag", REG_SZ, {u'1', 0, 0, 0}, FeatureLockState::NotSet, kNotFound},
        {"TooLong",
         u"PatchCleanFlag",
         REG_DWORD,
         {1, 0, 0, 0, 0},
         FeatureLockState::NotSet,
         kNotFound},
        {"NameOfTheLogTexts",
         u"PatchCleanupEnabled",
         REG_DWORD,
         {0, 0, 0, 0},
         FeatureLockState::NotSet,
         kNotFound},
    };
    for (const PolicyCase& row : cases) {
        SCOPED_TRACE(row.name);
        Machine machine = MakeMachine();
        machine.registry.SetValue(kPolicy, row.valueName, row.type, row.data);
        RunWithLog(machine,
                   [&] { EXPECT_EQ(GetPatchCleanupFeatureLockState(kProduct), row.state); });
        EXPECT_EQ(LogText(machine), kPolicyLine + row.line);
    }
}

TEST(FeatureLockPolicy, WithoutAKeyOrATrackItIsNotSet) {
    Machine machine = MakeMachine();
    machine.registry.SetDword(kPolicy, u"PatchCleanFlag", 0);
    AddFault(machine, "RegOpenKeyExW", kPolicy, 5);
    RunWithLog(machine, [&] {
        EXPECT_EQ(GetPatchCleanupFeatureLockState(kProduct), FeatureLockState::NotSet);
        machine.recordsCalls = true;
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
    const struct {
        const char* name;
        DWORD lastCleanup;
        bool passes;
    } cases[] = {
        {"JustLongEnough", kNow - 7'776'000, true},
        {"OneSecondShort", kNow - 7'775'999, false},
        {"ThisSecond", kNow, false},
        {"InTheFuture", kNow + 1, true},
        {"Never", 0, true},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        Machine machine = MakeMachine();
        machine.registry.SetDword(kStore, u"CleanupTime", row.lastCleanup);
        RunWithLog(machine, [&] { EXPECT_EQ(CheckCleanupDuration(kProduct), row.passes); });
        EXPECT_EQ(LogText(machine), "!(no log)\n");
    }
    // Behind 2106 the low 32 bits begin anew.
    EXPECT_FALSE(HasIntervalPassed(100, 0xFFFFFFFF));
    EXPECT_TRUE(HasIntervalPassed(7'776'000, 0));
}

TEST(CleanupInterval, WithoutAUsableTimeItPasses) {
    Machine machine = MakeMachine();
    RunWithLog(machine, [] {
        EXPECT_TRUE(CheckCleanupDuration(kProduct));
        EXPECT_TRUE(CheckCleanupDuration(u"no such product"));
    });
    machine.registry.SetValue(kStore, u"CleanupTime", REG_SZ, {0, 0, 0, 0});
    machine.registry.SetDword(kStore, u"Other", kNow);
    RunWithLog(machine, [] { EXPECT_TRUE(CheckCleanupDuration(kProduct)); });
}

struct SampleCase {
    const char* name;
    DWORD type;
    ValueData data;
    bool passes;
    std::string lines;  ///< behind the line that names the key
};

std::string Numbers(const std::string& first, const std::string& second) {
    return "GetIRandomFromRegistry: iRandom = " + first + "\niRandom: " + second + "\n";
}

TEST(UserSampling, TakesTheBandOfIRandomOnZR) {
    const std::string key = "SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR\\WebResource";
    const std::string eligible = "Eligible for cleanup based on iRandom sampling.\n";
    const SampleCase cases[] = {
        {"LowestIn", REG_DWORD, {0x77, 0x0D, 0, 0}, true, Numbers("3447", "3447") + eligible},
        {"BelowIt", REG_DWORD, {0x76, 0x0D, 0, 0}, false, Numbers("3446", "3446")},
        {"HighestIn", REG_DWORD, {0xFF, 0x15, 0, 0}, true, Numbers("5631", "5631") + eligible},
        {"AboveIt", REG_DWORD, {0x00, 0x16, 0, 0}, false, Numbers("5632", "5632")},
        {"Negative", REG_DWORD, {0, 0, 0, 0x80}, false, Numbers("2147483648", "-2147483648")},
        {"MinusOneIsAFailure",
         REG_DWORD,
         {0xFF, 0xFF, 0xFF, 0xFF},
         false,
         "GetIRandomFromRegistry: iRandom = 4294967295\n"},
        {"ShortTextIsANumber", REG_SZ, {u'5', 0, 0, 0}, false, Numbers("53", "53")},
        {"OneByte", REG_DWORD, {7}, false, Numbers("7", "7")},
        {"TooLong",
         REG_SZ,
         {u'4', 0, u'7', 0, 0, 0},
         false,
         "RegQueryValueExW failed for iRandom in: " + key + " (Error 234)\n"},
    };
    for (const SampleCase& row : cases) {
        SCOPED_TRACE(row.name);
        Machine machine = MakeMachine();
        machine.registry.SetValue(kRoot + u"\\WebResource", u"iRandom", row.type, row.data);
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
