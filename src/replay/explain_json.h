#pragma once

#include "replay/explanation.h"

#include <string>

namespace replay {

/// An explanation as a JSON document in UTF-8, in the form of docs/explain.schema.json. What is not
/// known is null.
[[nodiscard]] std::string FormatExplanationJson(const Explanation& explanation);

}  // namespace replay
