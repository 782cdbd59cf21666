#pragma once

#include "platform/processes.h"
#include "platform/sessions.h"

#include <memory>
#include <type_traits>

/// Handles and blocks of memory that let themselves go at the end of their scope.
namespace platform {

struct HandleCloser {
    void operator()(HANDLE handle) const {
        CloseHandle(handle);
    }
};

/// A process, thread, token or snapshot. Never holds INVALID_HANDLE_VALUE.
using Handle = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

struct HeapBlockCloser {
    void operator()(void* block) const {
        HeapFree(GetProcessHeap(), 0, block);
    }
};

/// A block of the process's heap.
using HeapBlock = std::unique_ptr<void, HeapBlockCloser>;

struct SidCloser {
    void operator()(PSID sid) const {
        FreeSid(sid);
    }
};

/// A SID that was made here.
using Sid = std::unique_ptr<void, SidCloser>;

struct LocalBlockCloser {
    void operator()(char16_t* text) const {
        LocalFree(text);
    }
};

/// A text that a call has allocated.
using LocalText = std::unique_ptr<char16_t, LocalBlockCloser>;

struct SessionListCloser {
    void operator()(WTS_SESSION_INFOW* sessions) const {
        WTSFreeMemory(sessions);
    }
};

/// The array of sessions that WTSEnumerateSessionsW gives.
using SessionList = std::unique_ptr<WTS_SESSION_INFOW, SessionListCloser>;

}  // namespace platform
