#pragma once

#include "platform/simulated/machine/machine.h"

namespace platform::simulated {

/// Hands out `size` bytes of zeroed memory, which count as open until they are given back.
[[nodiscard]] void* HandOutBlock(Machine& machine, OpenBlock::Kind kind, std::size_t size);

/// Takes a block back; whether it was one of that kind. What is none counts as a bad handle.
bool TakeBackBlock(Machine& machine, OpenBlock::Kind kind, void* address);

}  // namespace platform::simulated
