#include "platform/clock.h"

#include "platform/windows/native.h"

#include <ctime>

namespace platform {

SALTROVE_SAME_SIZE(SYSTEMTIME);
SALTROVE_SAME_FIELD(SYSTEMTIME, wYear);
SALTROVE_SAME_FIELD(SYSTEMTIME, wMonth);
SALTROVE_SAME_FIELD(SYSTEMTIME, wDayOfWeek);
SALTROVE_SAME_FIELD(SYSTEMTIME, wDay);
SALTROVE_SAME_FIELD(SYSTEMTIME, wHour);
SALTROVE_SAME_FIELD(SYSTEMTIME, wMinute);
SALTROVE_SAME_FIELD(SYSTEMTIME, wSecond);
SALTROVE_SAME_FIELD(SYSTEMTIME, wMilliseconds);
static_assert(sizeof(std::int64_t) == sizeof(::__time64_t));

void GetLocalTime(SYSTEMTIME* time) {
    ::GetLocalTime(reinterpret_cast<::SYSTEMTIME*>(time));
}

std::int64_t _time64(std::int64_t* time) {
    return ::_time64(reinterpret_cast<__time64_t*>(time));
}

std::chrono::nanoseconds ReadSteadyClock() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

}  // namespace platform
