#include "platform/clock.h"

#include "platform/simulated/machine/machine.h"

namespace platform {

namespace {

using simulated::Clock;
using simulated::GetCurrentMachine;
using simulated::Machine;
using std::chrono::milliseconds;

std::chrono::sys_time<milliseconds> ReadUtc(const Clock& clock) {
    return clock.utc.value_or(std::chrono::floor<milliseconds>(std::chrono::system_clock::now()));
}

}  // namespace

void GetLocalTime(SYSTEMTIME* time) {
    Machine& machine = GetCurrentMachine();
    machine.BeginCall("GetLocalTime");
    const auto local = ReadUtc(machine.clock) + machine.clock.offset;
    const auto day = std::chrono::floor<std::chrono::days>(local);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss timeOfDay(local - day);
    time->wYear = static_cast<WORD>(static_cast<int>(date.year()));
    time->wMonth = static_cast<WORD>(static_cast<unsigned>(date.month()));
    time->wDay = static_cast<WORD>(static_cast<unsigned>(date.day()));
    time->wDayOfWeek = static_cast<WORD>(std::chrono::weekday(day).c_encoding());
    time->wHour = static_cast<WORD>(timeOfDay.hours().count());
    time->wMinute = static_cast<WORD>(timeOfDay.minutes().count());
    time->wSecond = static_cast<WORD>(timeOfDay.seconds().count());
    time->wMilliseconds = static_cast<WORD>(timeOfDay.subseconds().count());
}

std::int64_t _time64(std::int64_t* time) {
    Machine& machine = GetCurrentMachine();
    machine.BeginCall("_time64");
    const auto now = std::chrono::floor<std::chrono::seconds>(ReadUtc(machine.clock));
    const std::int64_t seconds = now.time_since_epoch().count();
    if (time != nullptr)
        *time = seconds;
    return seconds;
}

std::chrono::nanoseconds ReadSteadyClock() {
    Machine& machine = GetCurrentMachine();
    machine.BeginCall("ReadSteadyClock");
    if (!machine.clock.utc)
        return std::chrono::steady_clock::now().time_since_epoch();
    return machine.clock.steady += machine.clock.perReading;
}

}  // namespace platform
