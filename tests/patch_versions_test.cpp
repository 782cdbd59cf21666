#include "inventory/patch_versions.h"

#include "inventory/lower_case.h"
#include "support/machines.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>

namespace saltrove {
namespace {

/// What a search for the pattern captures.
std::u16string Capture(const std::wregex& pattern, const std::u16string& text) {
    const std::wstring wide(text.begin(), text.end());
    std::wsmatch match;
    if (!std::regex_search(wide, match, pattern))
        return {};
    const std::wstring captured = match[1].str();
    return {captured.begin(), captured.end()};
}

TEST(PatchVersions, FindWhatTheRegularExpressionsFind) {
    const std::wregex versionPattern(LR"(\((\d+(?:\.\d+)+)\))");
    const std::wregex numberPattern(LR"((\d{10}))");
    std::vector<std::u16string> texts = {u"", u"Update (1.2) (3.4.5)",
                                         u"Update (2024) (1.2.3 beta) ( 1.2.3 ) (024.008.1)",
                                         u"Upd24003207901_incr", u"123456789_1234567890"};
    constexpr unsigned kSeed = 20261118;
    std::mt19937 random(kSeed);
    for (int round = 0; round < 20'000; ++round) {
        std::u16string& text = texts.emplace_back();
        const std::u16string_view alphabet = round % 2 == 0 ? u"()..12" : u"123456789012_";
        for (auto length = random() % 24; length > 0; --length)
            text += alphabet[random() % alphabet.size()];
    }
    for (const std::u16string& text : texts) {
        const std::string shown(text.begin(), text.end());
        ASSERT_EQ(ExtractVersionFromDisplayName(text), Capture(versionPattern, text)) << shown;
        ASSERT_EQ(ExtractVersionNumber(text), Capture(numberPattern, text)) << shown;
    }
    EXPECT_EQ(ExtractVersionFromDisplayName(u"(\u0661.\u0662)"), u"") << "0 to 9 are digits alone";
}

TEST(PatchVersions, NumbersAreOrderedByTheirEndsAlone) {
    const struct {
        const char* name;
        const char16_t* a;
        const char16_t* b;
        int order;
    } cases[] = {
        {"FirstTwoDecide", u"2400199999", u"2500100000", -1},
        {"SecondCharacter", u"2400100000", u"2300199999", 1},
        {"LastFiveDecide", u"2400120604", u"2400120605", -1},
        {"FifthCharacterFromTheEnd", u"2400130000", u"2400129999", 1},
        {"MiddleHasNoPart", u"2499920604", u"2400120604", 0},
        {"Nine", u"240012060", u"999999999", 0},
        {"Eleven", u"24001206041", u"2400120605", 0},
        {"Empty", u"", u"2400120604", 0},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(CompareVersionNumbers(row.a, row.b), row.order) << row.name;
        EXPECT_EQ(CompareVersionNumbers(row.b, row.a), -row.order) << row.name;
    }
}

TEST(PatchVersions, LowerCaseIsTheNativeLocalesOrElseTheClassic) {
    test::Machine machine;
    const platform::simulated::MachineScope scope(machine);
    EXPECT_EQ(LowerCaseCopy(u"C:\\WINDOWS\\\u00C9\u0416[Z", {}), u"c:\\windows\\\u00E9\u0436[z");
    test::AddFault(machine, "_create_locale", u"", 1);
    EXPECT_EQ(LowerCaseCopy(u"C:\\WINDOWS\\\u00C9[Z", {}), u"c:\\windows\\\u00C9[z");
    test::ExpectNothingOpen(machine);
}

}  // namespace
}  // namespace saltrove
