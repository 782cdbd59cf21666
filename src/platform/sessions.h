#pragma once

#include "platform/types.h"

/// The Terminal Services calls of Windows, as far as they are used.
namespace platform {

inline const HANDLE WTS_CURRENT_SERVER_HANDLE = nullptr;

enum WTS_CONNECTSTATE_CLASS { WTSActive = 0, WTSDisconnected = 4 };

struct WTS_SESSION_INFOW {
    DWORD SessionId;
    char16_t* pWinStationName;
    WTS_CONNECTSTATE_CLASS State;
};

/// The sessions of a server, as an array to be let go with WTSFreeMemory; 0 on failure.
[[nodiscard]] BOOL WTSEnumerateSessionsW(HANDLE server, DWORD reserved, DWORD version,
                                         WTS_SESSION_INFOW** sessions, DWORD* count);
void WTSFreeMemory(void* memory);

}  // namespace platform
