#pragma once

#include "platform/types.h"

#include <chrono>

namespace platform {

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

/// The local date and time.
void GetLocalTime(SYSTEMTIME* time);

/// Seconds since 1970-01-01 00:00:00 UTC; also stored in `time` unless it is null.
std::int64_t _time64(std::int64_t* time);

/// The monotonic clock: std::chrono::steady_clock, which reads the performance counter. Only
/// differences mean anything.
[[nodiscard]] std::chrono::nanoseconds ReadSteadyClock();

}  // namespace platform
