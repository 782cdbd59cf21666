#pragma once

#include "replay/explanation.h"

#include <string>

namespace replay {

/// An explanation as one HTML page in UTF-8 that asks for nothing from outside. Every text of the
/// machine is escaped, its control and direction characters made visible, and a policy in the page
/// lets nothing run but the page's own script.
[[nodiscard]] std::string FormatExplanationHtml(const Explanation& explanation);

}  // namespace replay
