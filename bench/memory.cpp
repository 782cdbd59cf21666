#include "memory.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace bench {

Memory memory;

}  // namespace bench

using bench::memory;

void* operator new(std::size_t size) {
    void* const block = std::malloc(size);
    if (block == nullptr)
        throw std::bad_alloc();
    if (memory.isCounted) {
        memory.live += static_cast<std::ptrdiff_t>(malloc_usable_size(block));
        memory.most = std::max(memory.most, memory.live);
    }
    return block;
}

void operator delete(void* block) noexcept {
    if (memory.isCounted)
        memory.live -= static_cast<std::ptrdiff_t>(malloc_usable_size(block));
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
    operator delete(block);
}
