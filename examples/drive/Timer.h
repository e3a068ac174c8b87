/// \file
/// When periodic things are due.
#pragma once

#include <cstdint>

namespace drive {

/// Is due at once, and then once a period.
class Timer {
  public:
    explicit Timer(unsigned milliseconds) : period(std::uint64_t{1000} * milliseconds) {}

    /// `now`, in microseconds, never goes back.
    bool isDue(std::uint64_t now) {
        if (now < next) {
            return false;
        }
        next = (next == 0 ? now : next) + period;
        return true;
    }

  private:
    std::uint64_t period;
    std::uint64_t next = 0;
};

} // namespace drive
