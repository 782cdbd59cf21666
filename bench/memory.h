#pragma once

#include <cstddef>

namespace bench {

/// The bytes that this program has of the heap, and the most that it had since `most` was last set.
struct Memory {
    std::size_t live = 0;
    std::size_t most = 0;
};

extern Memory memory;

}  // namespace bench
