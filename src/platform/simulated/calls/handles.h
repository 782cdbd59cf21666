#pragma once

#include <cstdint>

namespace platform::simulated {

/// A handle's number as the pointer that the call's interface wants, and back. The pointer is never
/// followed.
template <typename Pointer>
[[nodiscard]] Pointer ToHandle(std::uintptr_t number) {
    return reinterpret_cast<Pointer>(number);
}

template <typename Pointer>
[[nodiscard]] std::uintptr_t ToNumber(Pointer handle) {
    return reinterpret_cast<std::uintptr_t>(handle);
}

}  // namespace platform::simulated
