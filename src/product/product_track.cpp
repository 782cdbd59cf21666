#include "product/product_track.h"

#include <algorithm>
#include <cstddef>

namespace saltrove {

namespace {

// The last group of a braced product code starts at index 25; its second character tells the track.
constexpr std::size_t kTrackIndex = 26;

/// One row of the table that gives a code its root: the code has to contain both fragments.
struct RootRow {
    std::u16string_view family;
    std::u16string_view track;  // empty: any code of the family
    std::u16string_view root;
};

// The first row that fits wins. So "4D2E" goes before "9F16", and a family's last row is its trunk.
constexpr RootRow kRootRows[] = {
    {u"4D2E", u"EB7301D55200", u"SOFTWARE\\Kelvane\\Kelvane Ostrel\\Beta"},
    {u"4D2E", u"EC83016FC300", u"SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR"},
    {u"4D2E", u"3C1D08A6B200", u"SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR"},
    {u"4D2E", u"", u"SOFTWARE\\Kelvane\\Kelvane Ostrel\\Trunk"},
    {u"9F16", u"FC1208A6B200", u"SOFTWARE\\Kelvane\\Ostrel Lumeth\\ZR"},
    {u"9F16", u"", u"SOFTWARE\\Kelvane\\Ostrel Lumeth\\Trunk"},
};

bool Contains(std::u16string_view text, std::u16string_view fragment) {
    return text.find(fragment) != std::u16string_view::npos;
}

}  // namespace

std::u16string GetProductRoot(std::u16string_view productCode) {
    for (const RootRow& row : kRootRows) {
        if (Contains(productCode, row.family) && Contains(productCode, row.track))
            return std::u16string(row.root);
    }
    return {};
}

std::vector<std::u16string_view> GetProductRoots() {
    std::vector<std::u16string_view> roots;
    for (const RootRow& row : kRootRows) {
        if (std::find(roots.begin(), roots.end(), row.root) == roots.end())
            roots.push_back(row.root);
    }
    return roots;
}

std::optional<ProductTrack> GetProductTrack(std::u16string_view productCode) {
    if (productCode.size() <= kTrackIndex)
        return std::nullopt;
    switch (productCode[kTrackIndex]) {
    case u'8':
        return ProductTrack::Trunk;
    case u'B':
        return ProductTrack::Beta;
    case u'C':
        return ProductTrack::ZR;
    case u'E':
        return ProductTrack::ESR;
    default:
        return std::nullopt;
    }
}

std::u16string_view GetTrackName(ProductTrack track) {
    switch (track) {
    case ProductTrack::Trunk:
        return u"Trunk";
    case ProductTrack::Beta:
        return u"Beta";
    case ProductTrack::ZR:
        return u"ZR";
    case ProductTrack::ESR:
        return u"ESR";
    }
    return {};
}

std::u16string_view GetProductFamilyKey(std::u16string_view productCode) {
    return kProductFamilyKeys[Contains(productCode, u"6C3B") ? 1 : 0];
}

}  // namespace saltrove
