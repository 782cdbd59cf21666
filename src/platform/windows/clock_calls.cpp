#include "platform/clock.h"

#include "platform/windows/native.h"

#include <ctime>

namespace platform {

static_assert(sizeof(SYSTEMTIME) == sizeof(::SYSTEMTIME));

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
