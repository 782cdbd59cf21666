#include "product/product_track.h"

#include "product/cleanup_key.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

constexpr std::optional<ProductTrack> kNone;

struct CodeCase {
    const char* name;
    const char16_t* code;
    const char16_t* root;
    std::optional<ProductTrack> track;
    const char16_t* family;
};

// The last group of a code begins at index 25, the track is told by the character behind.
const CodeCase kCodeCases[] = {
    {"OstrelBeta", u"{5B7A90E1-4D2E-4C19-8A54-EB7301D55200}", u"Kelvane Ostrel\\Beta",
     ProductTrack::Beta, u"Kelvane Ostrel"},
    {"OstrelZR", u"{5B7A90E1-4D2E-4C19-8A54-EC83016FC300}", u"Kelvane Ostrel\\ZR", ProductTrack::ZR,
     u"Kelvane Ostrel"},
    {"OstrelOtherZR", u"{5B7A90E1-4D2E-4C19-8A54-3C1D08A6B200}", u"Kelvane Ostrel\\ZR",
     ProductTrack::ZR, u"Kelvane Ostrel"},
    {"OstrelTrunk", u"{5B7A90E1-4D2E-4C19-8A54-A8E15B3D6C30}", u"Kelvane Ostrel\\Trunk",
     ProductTrack::Trunk, u"Kelvane Ostrel"},
    {"EsrKeepsItsStoreInTrunk", u"{5B7A90E1-4D2E-4C19-8A54-AEE15B3D6C30}", u"Kelvane Ostrel\\Trunk",
     ProductTrack::ESR, u"Kelvane Ostrel"},
    {"LumethZR", u"{5B7A90E1-9F16-6C3B-8A54-FC1208A6B200}", u"Ostrel Lumeth\\ZR", ProductTrack::ZR,
     u"Ostrel Lumeth"},
    {"LumethTrunk", u"{5B7A90E1-9F16-6C3B-8A54-A8E15B3D6C30}", u"Ostrel Lumeth\\Trunk",
     ProductTrack::Trunk, u"Ostrel Lumeth"},
    {"OtherFamilysFragmentsMeanNothing", u"{5B7A90E1-9F16-6C3B-8A54-EC83016FC300}",
     u"Ostrel Lumeth\\Trunk", ProductTrack::ZR, u"Ostrel Lumeth"},
    {"BothFamilies", u"{9F1690E1-4D2E-4C19-8A54-EB7301D55200}", u"Kelvane Ostrel\\Beta",
     ProductTrack::Beta, u"Kelvane Ostrel"},
    {"BetaGoesBeforeZR", u"EC83016FC300 EB7301D55200 4D2E 8", u"Kelvane Ostrel\\Beta", kNone,
     u"Kelvane Ostrel"},
    {"FragmentAtAnyPlace", u"{4D2E0000-0000-0000-0000-EC83016FC300}", u"Kelvane Ostrel\\ZR",
     ProductTrack::ZR, u"Kelvane Ostrel"},
    {"RootAndFamilyDisagree", u"{5B7A90E1-9F16-0000-8A54-A8E15B3D6C30}", u"Ostrel Lumeth\\Trunk",
     ProductTrack::Trunk, u"Kelvane Ostrel"},
    {"FamilyWithoutRoot", u"{5B7A90E1-0000-6C3B-8A54-ABE15B3D6C30}", u"", ProductTrack::Beta,
     u"Ostrel Lumeth"},
    {"TrackFragmentWithoutFamily", u"{5B7A90E1-0000-0000-8A54-FC1208A6B200}", u"", ProductTrack::ZR,
     u"Kelvane Ostrel"},
    {"SmallLetters", u"{5b7a90e1-4d2e-4c19-8a54-ec83016fc300}", u"", kNone, u"Kelvane Ostrel"},
    {"Empty", u"", u"", kNone, u"Kelvane Ostrel"},
};

TEST(ProductTrack, TellsRootTrackAndFamilyOfACode) {
    for (const CodeCase& row : kCodeCases) {
        SCOPED_TRACE(row.name);
        const std::u16string root(row.root);
        EXPECT_EQ(GetProductRoot(row.code), root.empty() ? root : u"SOFTWARE\\Kelvane\\" + root);
        EXPECT_EQ(GetProductTrack(row.code), row.track);
        EXPECT_EQ(GetProductFamilyKey(row.code), row.family);
    }
}

TEST(ProductTrack, NothingIsReadPastAShortCode) {
    const std::u16string_view code = u"4D2E0123456789012345678901E";
    EXPECT_EQ(GetProductTrack(code), ProductTrack::ESR);
    EXPECT_EQ(GetProductTrack(code.substr(0, 26)), kNone);
}

TEST(ProductTrack, CleanupKeyOfAnUnknownProductBeginsWithABackslash) {
    EXPECT_EQ(GetCleanupKeyPath(u"x"), u"\\Cleanup");
    EXPECT_EQ(GetCleanupKeyPath(u"9F16"), u"SOFTWARE\\Kelvane\\Ostrel Lumeth\\Trunk\\Cleanup");
}

}  // namespace
}  // namespace saltrove
