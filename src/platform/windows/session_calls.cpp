#include "platform/sessions.h"

#include "platform/windows/late_call.h"

#include <wtsapi32.h>

namespace platform {

SALTROVE_SAME_SIZE(WTS_SESSION_INFOW);
SALTROVE_SAME_FIELD(WTS_SESSION_INFOW, SessionId);
SALTROVE_SAME_FIELD(WTS_SESSION_INFOW, pWinStationName);
SALTROVE_SAME_FIELD(WTS_SESSION_INFOW, State);

BOOL WTSEnumerateSessionsW(HANDLE server, DWORD reserved, DWORD version,
                           WTS_SESSION_INFOW** sessions, DWORD* count) {
    static const auto call =
        FindLateCall<decltype(::WTSEnumerateSessionsW)>(L"wtsapi32.dll", "WTSEnumerateSessionsW");
    if (call == nullptr)
        return 0;
    return call(Native(server), reserved, version,
                reinterpret_cast<::WTS_SESSION_INFOW**>(sessions), Native(count));
}

void WTSFreeMemory(void* memory) {
    static const auto call =
        FindLateCall<decltype(::WTSFreeMemory)>(L"wtsapi32.dll", "WTSFreeMemory");
    if (call != nullptr)
        call(memory);
}

}  // namespace platform
