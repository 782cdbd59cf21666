#include "platform/simulated/calls/blocks.h"

#include "platform/simulated/calls/handles.h"

#include <algorithm>

namespace platform::simulated {

void* HandOutBlock(Machine& machine, OpenBlock::Kind kind, std::size_t size) {
    std::shared_ptr<std::byte[]> bytes(new std::byte[std::max<std::size_t>(size, 1)]());
    void* address = bytes.get();
    machine.open.blocks[ToNumber(address)] = {kind, std::move(bytes)};
    return address;
}

bool TakeBackBlock(Machine& machine, OpenBlock::Kind kind, void* address) {
    const auto found = machine.open.blocks.find(ToNumber(address));
    if (found == machine.open.blocks.end() || found->second.kind != kind) {
        ++machine.badHandles;
        return false;
    }
    machine.open.blocks.erase(found);
    return true;
}

}  // namespace platform::simulated
