#include "memory.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <unordered_set>

namespace {

/// Memory for the account itself, which does not stand in it.
template <typename Type>
struct UncountedAllocator {
    using value_type = Type;
    UncountedAllocator() = default;
    template <typename Other>
    explicit UncountedAllocator(const UncountedAllocator<Other>& /*other*/) {}
    Type* allocate(std::size_t count) {
        // NOLINTNEXTLINE(bugprone-sizeof-expression): it may be for pointers
        return static_cast<Type*>(std::malloc(count * sizeof(Type)));
    }
    void deallocate(Type* block, std::size_t /*count*/) {
        std::free(block);
    }
    bool operator==(const UncountedAllocator& /*other*/) const = default;
};

using Blocks =
    std::unordered_set<void*, std::hash<void*>, std::equal_to<>, UncountedAllocator<void*>>;

/// Those that were taken since the counting began, while it lasts.
Blocks* blocks = nullptr;
std::size_t live = 0;
std::size_t most = 0;

}  // namespace

void bench::StartCounting() {
    static Blocks taken;
    taken.clear();
    blocks = &taken;
    live = most = 0;
}

std::size_t bench::StopCounting() {
    blocks = nullptr;
    return most;
}

void* operator new(std::size_t size) {
    void* const block = std::malloc(size);
    if (block == nullptr)
        throw std::bad_alloc();
    if (blocks != nullptr) {
        blocks->insert(block);
        live += malloc_usable_size(block);
        most = std::max(most, live);
    }
    return block;
}

void operator delete(void* block) noexcept {
    if (blocks != nullptr && blocks->erase(block) != 0)
        live -= malloc_usable_size(block);
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
    operator delete(block);
}
