#include "product/eligibility.h"

#include "platform/simulated/texts/unicode.h"
#include "support/host_files.h"
#include "support/machines.h"

#include <gtest/gtest.h>

#include <regex>

namespace saltrove {
namespace {

using platform::simulated::EncodeUtf8;

/// The row of the table of roots for codes with these fragments.
std::string DescribeRoot(const std::u16string& family, const std::u16string& lastGroup) {
    const bool isAny = lastGroup.size() == 1;
    const std::u16string code = u"{5B7A90E1-" + family + u"-4C19-8A54-" +
                                (isAny ? u"0" + lastGroup + u"0000000000" : lastGroup) + u"}";
    return "| `" + EncodeUtf8(family) + "` | " + (isAny ? "any other with `" : "`") +
           EncodeUtf8(lastGroup) + (isAny ? "` second" : "`") + " | " +
           EncodeUtf8(GetTrackName(GetProductTrack(code).value())) + " | `" +
           EncodeUtf8(GetProductRoot(code)) + "` |\n";
}

/// The row of the table of policies for a family and track. Where no number is asked for, a machine
/// without any is in the sample.
std::string DescribeKeys(std::u16string_view family, ProductTrack track) {
    test::Machine machine;
    const platform::simulated::MachineScope scope(machine);
    const std::u16string letter(1, u"8BCE"[static_cast<std::size_t>(track)]);
    const bool isSampled = !IsExpEnableForUser(std::u16string(26, u'-') + letter);
    return "| " + EncodeUtf8(family) + " | " + EncodeUtf8(GetTrackName(track)) + " | `" +
           EncodeUtf8(GetPolicyKeyPath(family, track)) + "` | " +
           (isSampled ? "`" + EncodeUtf8(GetSampleKeyPath(family, track)) + "`" : "not asked for") +
           " |\n";
}

TEST(Administrators, TheTablesOfKeysAreTheProgramsOwn) {
    std::string roots;
    for (const char16_t* group :
         {u"EB7301D55200", u"EC83016FC300", u"3C1D08A6B200", u"8", u"B", u"C", u"E"})
        roots += DescribeRoot(u"4D2E", group);
    for (const char16_t* group : {u"FC1208A6B200", u"8", u"B", u"C", u"E"})
        roots += DescribeRoot(u"9F16", group);
    std::string keys;
    for (const std::u16string_view family : kProductFamilyKeys) {
        for (const ProductTrack track : kProductTracks)
            keys += DescribeKeys(family, track);
    }
    const std::string page = test::ReadFile(SALTROVE_ADMINISTRATORS);
    EXPECT_NE(page.find("|---|---|---|---|\n" + roots + "\n"), std::string::npos) << roots;
    EXPECT_NE(page.find("|---|---|---|---|\n" + keys + "\n"), std::string::npos) << keys;
    for (const std::u16string_view root : GetProductRoots())
        EXPECT_NE(roots.find(EncodeUtf8(root) + "`"), std::string::npos) << EncodeUtf8(root);
}

/// The policy of a family and track, with single blanks.
std::string FormatPolicy(std::u16string_view family, ProductTrack track) {
    const std::string category = std::regex_replace(EncodeUtf8(family), std::regex(" "), "");
    const std::string name = "PatchClean_" + category + "_" + EncodeUtf8(GetTrackName(track));
    const auto number = [](FeatureLockState state) {
        return "<decimal value=\"" + std::to_string(static_cast<int>(state)) + "\"/>";
    };
    return "<policy name=\"" + name + "\" class=\"Machine\" displayName=\"$(string." + name +
           ")\" explainText=\"$(string.PatchClean_Explain)\" key=\"" +
           EncodeUtf8(GetPolicyKeyPath(family, track)) + "\" valueName=\"" +
           EncodeUtf8(kPolicyValue) + "\"> <parentCategory ref=\"" + category +
           "\"/> <supportedOn ref=\"SUPPORTED_Windows10\"/> <enabledValue>" +
           number(FeatureLockState::Enabled) + "</enabledValue> <disabledValue>" +
           number(FeatureLockState::Disabled) + "</disabledValue> </policy>";
}

TEST(Administrators, TheTemplateHasAPolicyForEachFamilyAndTrack) {
    const std::string text =
        std::regex_replace(test::ReadFile(SALTROVE_POLICY), std::regex(R"(\s+)"), " ");
    std::string policies;
    for (const std::u16string_view family : kProductFamilyKeys) {
        for (const ProductTrack track : kProductTracks)
            policies += FormatPolicy(family, track) + " ";
    }
    EXPECT_NE(text.find("<policies> " + policies + "</policies>"), std::string::npos) << policies;
}

}  // namespace
}  // namespace saltrove
