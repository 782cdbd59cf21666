#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a ProductCode says of the product: its settings root, its release track, its family.
///
/// The code is a braced product code of Windows Installer as the command line gave it, unchecked;
/// any text of any length is allowed. Letter case counts everywhere. The root is derived from
/// fragments of the code, the track from one of its characters and the family from a fragment of
/// its own, so that each can disagree with the others.
namespace saltrove {

enum class ProductTrack { Trunk, Beta, ZR, ESR };

inline constexpr std::array kProductTracks = {ProductTrack::Trunk, ProductTrack::Beta,
                                              ProductTrack::ZR, ProductTrack::ESR};

/// The families by their key names in registry paths.
inline constexpr std::array<std::u16string_view, 2> kProductFamilyKeys = {u"Kelvane Ostrel",
                                                                          u"Ostrel Lumeth"};

/// The registry path of the product's settings, without a hive and without a backslash at its end,
/// such as "SOFTWARE\Kelvane\Kelvane Ostrel\ZR"; empty for a code that names no known family.
[[nodiscard]] std::u16string GetProductRoot(std::u16string_view productCode);

/// Every root that GetProductRoot can give, but for the empty one.
[[nodiscard]] std::vector<std::u16string_view> GetProductRoots();

/// The track that the second character of the code's last group stands for; none for any other
/// character and for a code too short to have one.
[[nodiscard]] std::optional<ProductTrack> GetProductTrack(std::u16string_view productCode);

/// The track's name, which is also its key name in registry paths.
[[nodiscard]] std::u16string_view GetTrackName(ProductTrack track);

/// The key name of the product's family, one of kProductFamilyKeys.
[[nodiscard]] std::u16string_view GetProductFamilyKey(std::u16string_view productCode);

}  // namespace saltrove
