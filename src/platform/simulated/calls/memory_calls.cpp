#include "platform/processes.h"

#include "platform/simulated/calls/blocks.h"
#include "platform/simulated/calls/handles.h"
#include "platform/simulated/machine/machine.h"
#include "platform/simulated/texts/sid.h"

#include <algorithm>
#include <cstring>

namespace platform {

namespace {

using simulated::GetCurrentMachine;
using simulated::HandOutBlock;
using simulated::Machine;
using simulated::TakeBackBlock;
using Kind = simulated::OpenBlock::Kind;

constexpr std::uintptr_t kProcessHeap = 8;

}  // namespace

HANDLE GetProcessHeap() {
    GetCurrentMachine().BeginCall("GetProcessHeap");
    return simulated::ToHandle<HANDLE>(kProcessHeap);
}

void* HeapAlloc(HANDLE heap, DWORD flags, std::size_t size) {
    Machine& machine = GetCurrentMachine();
    if (simulated::ToNumber(heap) != kProcessHeap)
        ++machine.badHandles;
    if (machine.BeginCall("HeapAlloc", {}, {flags, size}))
        return nullptr;
    void* block = HandOutBlock(machine, Kind::Heap, size);
    // What nobody asked to be zeroed is not.
    if ((flags & HEAP_ZERO_MEMORY) == 0)
        std::memset(block, 0xCC, size);
    return block;
}

BOOL HeapFree(HANDLE /*heap*/, DWORD flags, void* block) {
    Machine& machine = GetCurrentMachine();
    const bool isTaken = TakeBackBlock(machine, Kind::Heap, block);
    return machine.BeginCall("HeapFree", {}, {flags}) || !isTaken ? 0 : 1;
}

BOOL AllocateAndInitializeSid(const SID_IDENTIFIER_AUTHORITY* authority, BYTE subAuthorityCount,
                              DWORD subAuthority0, DWORD subAuthority1, DWORD subAuthority2,
                              DWORD subAuthority3, DWORD subAuthority4, DWORD subAuthority5,
                              DWORD subAuthority6, DWORD subAuthority7, PSID* sid) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginCall("AllocateAndInitializeSid", {}, {subAuthorityCount, subAuthority0}))
        return 0;
    std::vector<DWORD> parts = {subAuthority0, subAuthority1, subAuthority2, subAuthority3,
                                subAuthority4, subAuthority5, subAuthority6, subAuthority7};
    parts.resize(std::min<std::size_t>(subAuthorityCount, parts.size()));
    const std::vector<BYTE> bytes = simulated::MakeSid(*authority, parts);
    *sid = HandOutBlock(machine, Kind::Sid, bytes.size());
    std::memcpy(*sid, bytes.data(), bytes.size());
    return 1;
}

BOOL ConvertSidToStringSidW(PSID sid, char16_t** text) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginCall("ConvertSidToStringSidW"))
        return 0;
    const std::u16string formatted = simulated::FormatSid(sid);
    const std::size_t size = (formatted.size() + 1) * sizeof(char16_t);
    void* block = HandOutBlock(machine, Kind::Local, size);
    std::memcpy(block, formatted.c_str(), size);
    *text = static_cast<char16_t*>(block);
    return 1;
}

void* LocalFree(void* block) {
    Machine& machine = GetCurrentMachine();
    const bool isTaken = TakeBackBlock(machine, Kind::Local, block);
    machine.BeginCall("LocalFree");
    return isTaken ? nullptr : block;
}

BOOL EqualSid(PSID a, PSID b) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginCall("EqualSid"))
        return 0;
    const std::size_t sizeOfA = simulated::GetSidSize(a);
    return sizeOfA == simulated::GetSidSize(b) && std::memcmp(a, b, sizeOfA) == 0 ? 1 : 0;
}

void* FreeSid(PSID sid) {
    Machine& machine = GetCurrentMachine();
    const bool isTaken = TakeBackBlock(machine, Kind::Sid, sid);
    machine.BeginCall("FreeSid");
    return isTaken ? nullptr : sid;
}

}  // namespace platform
