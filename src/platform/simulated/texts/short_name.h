#pragma once

#include <string>
#include <string_view>

namespace platform::simulated {

/// The short name, of the form 8.3, that a system volume gives a file besides its long one; empty
/// if the long one has that form itself. Its extension is what Windows makes of the long name's. Of
/// its beginning only the first six characters are certain, since the number behind them depends on
/// the other files of the folder; here it is always 1.
[[nodiscard]] std::u16string MakeShortName(std::u16string_view longName);

}  // namespace platform::simulated
