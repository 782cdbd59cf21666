#pragma once

#include <cstddef>

/// How much memory is taken, by the replaced operators new and delete.
namespace bench {

/// Counts what is taken from now on, and of what is given back that alone.
void StartCounting();

/// The most bytes that were taken at once since then.
[[nodiscard]] std::size_t StopCounting();

}  // namespace bench
