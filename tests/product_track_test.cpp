#include "product/product_track.h"

#include "platform/simulated/texts/unicode.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using enum ProductTrack;

constexpr std::optional<ProductTrack> kNone;
constexpr std::u16string_view kOstrel = u"Kelvane Ostrel";
constexpr std::u16string_view kLumeth = u"Ostrel Lumeth";

struct CodeCase {
    const char16_t* code;
    const char16_t* root;
    std::optional<ProductTrack> track;
    std::u16string_view family;
};

// The last group of a code begins at index 25, the track is told by the character behind. Root and
// family go by fragments anywhere, and need not agree with it or with each other.
const CodeCase kCodeCases[] = {
    {u"{5B7A90E1-4D2E-4C19-8A54-EB7301D55200}", u"Kelvane Ostrel\\Beta", Beta, kOstrel},
    {u"{5B7A90E1-4D2E-4C19-8A54-EC83016FC300}", u"Kelvane Ostrel\\ZR", ZR, kOstrel},
    {u"{5B7A90E1-4D2E-4C19-8A54-3C1D08A6B200}", u"Kelvane Ostrel\\ZR", ZR, kOstrel},
    {u"{5B7A90E1-4D2E-4C19-8A54-A8E15B3D6C30}", u"Kelvane Ostrel\\Trunk", Trunk, kOstrel},
    {u"{5B7A90E1-4D2E-4C19-8A54-AEE15B3D6C30}", u"Kelvane Ostrel\\Trunk", ESR, kOstrel},
    {u"{5B7A90E1-9F16-6C3B-8A54-FC1208A6B200}", u"Ostrel Lumeth\\ZR", ZR, kLumeth},
    {u"{5B7A90E1-9F16-6C3B-8A54-A8E15B3D6C30}", u"Ostrel Lumeth\\Trunk", Trunk, kLumeth},
    {u"{5B7A90E1-9F16-6C3B-8A54-EC83016FC300}", u"Ostrel Lumeth\\Trunk", ZR, kLumeth},
    {u"{9F1690E1-4D2E-4C19-8A54-EB7301D55200}", u"Kelvane Ostrel\\Beta", Beta, kOstrel},
    {u"EC83016FC300 EB7301D55200 4D2E 8", u"Kelvane Ostrel\\Beta", kNone, kOstrel},
    {u"{4D2E0000-0000-0000-0000-EC83016FC300}", u"Kelvane Ostrel\\ZR", ZR, kOstrel},
    {u"{5B7A90E1-9F16-0000-8A54-A8E15B3D6C30}", u"Ostrel Lumeth\\Trunk", Trunk, kOstrel},
    {u"{5B7A90E1-0000-6C3B-8A54-ABE15B3D6C30}", u"", Beta, kLumeth},
    {u"{5B7A90E1-0000-0000-8A54-FC1208A6B200}", u"", ZR, kOstrel},
    {u"{5b7a90e1-4d2e-4c19-8a54-ec83016fc300}", u"", kNone, kOstrel},
    {u"", u"", kNone, kOstrel},
};

TEST(ProductTrack, TellsRootTrackAndFamilyOfACode) {
    for (const CodeCase& row : kCodeCases) {
        SCOPED_TRACE(platform::simulated::EncodeUtf8(row.code));
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

}  // namespace
}  // namespace saltrove
