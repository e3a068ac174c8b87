/// \file
/// When `rksignal watch` looks at the slots.
#pragma once

#include <cstdint>

namespace rksignal {

/// Times are nanoseconds of a steady clock. Looks come at equal intervals. Each second begins with two
/// intervals of looks ten times as close: so rates are known that are higher than that of the looks.
class WatchClock {
  public:
    static constexpr std::uint64_t second = 1'000'000'000;

    explicit WatchClock(std::uint64_t interval) : interval(interval) {}

    /// The next look behind `now`.
    std::uint64_t nextLook(std::uint64_t now) const {
        const std::uint64_t step = isCloseTime(now) ? interval / 10 : interval;
        return (now / step + 1) * step;
    }
    /// Whether two looks at these times are so close that hardly a value is missed between them.
    bool areClose(std::uint64_t former, std::uint64_t now) const { return now - former <= interval * 3 / 20; }
    /// Whether the close looks of a second have ended between the two times.
    bool hasSettled(std::uint64_t former, std::uint64_t now) const {
        return now >= 2 * interval &&
               (former < 2 * interval || (former - 2 * interval) / second != (now - 2 * interval) / second);
    }

  private:
    bool isCloseTime(std::uint64_t now) const { return now % second < 2 * interval; }

    std::uint64_t interval;
};

} // namespace rksignal
