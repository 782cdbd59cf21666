#pragma once

#include <cstddef>

namespace bench {

/// The bytes that this program took from the heap, less what it gave back, and the most that it had
/// at once, both since they were last set to 0 and while `isCounted` is set: counting takes time.
struct Memory {
    bool isCounted = false;
    std::ptrdiff_t live = 0;
    std::ptrdiff_t most = 0;
};

extern Memory memory;

}  // namespace bench
