#pragma once

#include "replay/explanation.h"

#include <string>

namespace replay {

/// An explanation as UTF-8 text for a terminal of 120 columns, grouped by verdicts, with headings
/// in bold if `isColoured`. Control characters out of the image are escaped.
[[nodiscard]] std::string FormatExplanationText(const Explanation& explanation, bool isColoured);

}  // namespace replay
