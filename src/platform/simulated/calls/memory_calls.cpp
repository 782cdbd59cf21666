#include "platform/processes.h"
#include "platform/sessions.h"

#include "platform/simulated/calls/handles.h"
#include "platform/simulated/machine/machine.h"
#include "platform/simulated/texts/sid.h"

#include <algorithm>
#include <cstring>

namespace platform {

namespace {

using simulated::CurrentMachine;
using simulated::Machine;
using Kind = simulated::OpenBlock::Kind;

constexpr std::uintptr_t kProcessHeap = 8;

/// A block of zeroed memory that has to be given back.
void* HandOut(Machine& machine, Kind kind, std::size_t size) {
    std::shared_ptr<std::byte[]> bytes(new std::byte[std::max<std::size_t>(size, 1)]());
    void* address = bytes.get();
    machine.open.blocks[simulated::ToNumber(address)] = {kind, std::move(bytes)};
    return address;
}

/// Takes a block back; whether it was one of that kind.
bool TakeBack(Machine& machine, Kind kind, void* address) {
    const auto found = machine.open.blocks.find(simulated::ToNumber(address));
    if (found == machine.open.blocks.end() || found->second.kind != kind) {
        ++machine.badHandles;
        return false;
    }
    machine.open.blocks.erase(found);
    return true;
}

}  // namespace

HANDLE GetProcessHeap() {
    CurrentMachine().BeginCall("GetProcessHeap");
    return simulated::ToHandle<HANDLE>(kProcessHeap);
}

void* HeapAlloc(HANDLE heap, DWORD flags, std::size_t size) {
    Machine& machine = CurrentMachine();
    if (simulated::ToNumber(heap) != kProcessHeap)
        ++machine.badHandles;
    if (machine.BeginCall("HeapAlloc", {}, {flags, size}))
        return nullptr;
    void* block = HandOut(machine, Kind::Heap, size);
    // What nobody asked to be zeroed is not.
    if ((flags & HEAP_ZERO_MEMORY) == 0)
        std::memset(block, 0xCC, size);
    return block;
}

BOOL HeapFree(HANDLE /*heap*/, DWORD flags, void* block) {
    Machine& machine = CurrentMachine();
    const bool isTaken = TakeBack(machine, Kind::Heap, block);
    return machine.BeginCall("HeapFree", {}, {flags}) || !isTaken ? 0 : 1;
}

BOOL AllocateAndInitializeSid(const SID_IDENTIFIER_AUTHORITY* authority, BYTE subAuthorityCount,
                              DWORD subAuthority0, DWORD subAuthority1, DWORD subAuthority2,
                              DWORD subAuthority3, DWORD subAuthority4, DWORD subAuthority5,
                              DWORD subAuthority6, DWORD subAuthority7, PSID* sid) {
    Machine& machine = CurrentMachine();
    if (machine.BeginCall("AllocateAndInitializeSid", {}, {subAuthorityCount, subAuthority0}))
        return 0;
    std::vector<DWORD> parts = {subAuthority0, subAuthority1, subAuthority2, subAuthority3,
                                subAuthority4, subAuthority5, subAuthority6, subAuthority7};
    parts.resize(std::min<std::size_t>(subAuthorityCount, parts.size()));
    const std::vector<BYTE> bytes = simulated::MakeSid(*authority, parts);
    *sid = HandOut(machine, Kind::Sid, bytes.size());
    std::memcpy(*sid, bytes.data(), bytes.size());
    return 1;
}

BOOL EqualSid(PSID a, PSID b) {
    Machine& machine = CurrentMachine();
    if (machine.BeginCall("EqualSid"))
        return 0;
    const std::size_t sizeOfA = simulated::SidSize(a);
    return sizeOfA == simulated::SidSize(b) && std::memcmp(a, b, sizeOfA) == 0 ? 1 : 0;
}

void* FreeSid(PSID sid) {
    Machine& machine = CurrentMachine();
    const bool isTaken = TakeBack(machine, Kind::Sid, sid);
    machine.BeginCall("FreeSid");
    return isTaken ? nullptr : sid;
}

BOOL WTSEnumerateSessionsW(HANDLE /*server*/, DWORD reserved, DWORD version,
                           WTS_SESSION_INFOW** sessions, DWORD* count) {
    Machine& machine = CurrentMachine();
    if (machine.BeginCall("WTSEnumerateSessionsW", {}, {reserved, version}))
        return 0;
    const std::size_t size = machine.sessions.size() * sizeof(WTS_SESSION_INFOW);
    auto* array = static_cast<WTS_SESSION_INFOW*>(HandOut(machine, Kind::SessionList, size));
    for (std::size_t i = 0; i < machine.sessions.size(); ++i) {
        const simulated::Session& session = machine.sessions[i];
        const WTS_SESSION_INFOW info{session.id, nullptr,
                                     session.isActive ? WTSActive : WTSDisconnected};
        std::memcpy(array + i, &info, sizeof(info));
    }
    *sessions = array;
    *count = static_cast<DWORD>(machine.sessions.size());
    return 1;
}

void WTSFreeMemory(void* memory) {
    Machine& machine = CurrentMachine();
    TakeBack(machine, Kind::SessionList, memory);
    machine.BeginCall("WTSFreeMemory");
}

}  // namespace platform
