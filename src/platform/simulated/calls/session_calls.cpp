#include "platform/sessions.h"

#include "platform/simulated/calls/blocks.h"

#include <cstring>

namespace platform {

namespace {

using simulated::GetCurrentMachine;
using simulated::Machine;
using Kind = simulated::OpenBlock::Kind;

}  // namespace

BOOL WTSEnumerateSessionsW(HANDLE /*server*/, DWORD reserved, DWORD version,
                           WTS_SESSION_INFOW** sessions, DWORD* count) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginCall("WTSEnumerateSessionsW", {}, {reserved, version}))
        return 0;
    const std::size_t size = machine.sessions.size() * sizeof(WTS_SESSION_INFOW);
    auto* array =
        static_cast<WTS_SESSION_INFOW*>(simulated::HandOutBlock(machine, Kind::SessionList, size));
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
    Machine& machine = GetCurrentMachine();
    simulated::TakeBackBlock(machine, Kind::SessionList, memory);
    machine.BeginCall("WTSFreeMemory");
}

}  // namespace platform
