#pragma once

#include <chrono>
#include <cstddef>
#include <iosfwd>

namespace collect {

/// Tells how far something is that takes long: a line a second at most, none in the first one.
class Progress {
  public:
    explicit Progress(std::ostream& stream);

    /// `done` of `total` steps of `what` are done.
    void Tell(const char* what, std::size_t done, std::size_t total);

  private:
    std::ostream& stream_;
    std::chrono::nanoseconds last_;
};

}  // namespace collect
