#include "collect/progress.h"

#include "platform/clock.h"

#include <ostream>

namespace collect {

Progress::Progress(std::ostream& stream) : stream_(stream), last_(platform::ReadSteadyClock()) {}

void Progress::Tell(const char* what, std::size_t done, std::size_t total) {
    const std::chrono::nanoseconds now = platform::ReadSteadyClock();
    if (now - last_ < std::chrono::seconds(1))
        return;
    last_ = now;
    stream_ << "saltrove-collect: " << what << ", " << done << " of " << total << std::endl;
}

}  // namespace collect
