#pragma once

#include "collect/collected.h"

#include <optional>
#include <string>
#include <string_view>

/// What the machine tells of the runs for one product, and what a run would do now.
namespace collect {

/// Whether a text is a product code in braces and capitals that the program has a root for. Of any
/// other a run keeps no record, or one that belongs to no product.
[[nodiscard]] bool IsProductOfFamily(std::u16string_view productCode);

/// What the last run left, how long ago the last cleanup was, and which packages wait for the
/// restart: one JSON object, ASCII alone and without a line end. What is missing or cannot be read
/// is null, and the latter noted. `productCode` is one of the family.
[[nodiscard]] std::string FormatStatus(Collected& collected, const std::u16string& productCode);

/// The paths of the packages that a run would remove now if nothing forbade it, a line each in
/// UTF-8: those that no patch of the product needs any more, then the orphans. Nothing if it could
/// not work out which patches to keep. Touches and records nothing.
[[nodiscard]] std::optional<std::string> ListRemovals(const std::u16string& productCode,
                                                      const std::u16string& productVersion);

}  // namespace collect
