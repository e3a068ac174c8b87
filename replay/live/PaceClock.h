/// \file
/// When recorded messages are due.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace rksignal {

/// Maps recorded times to those at which the messages are handed over. See PacedTrace. All times are in
/// nanoseconds.
class PaceClock {
  public:
    static constexpr std::uint64_t second = 1'000'000'000;
    static constexpr std::uint64_t longestDelay = second;
    static constexpr std::uint64_t longestPause = 3600 * second; ///< longer: the clock was set
    static constexpr std::uint64_t longestReturn = 10 * second;  ///< the same back

    explicit PaceClock(double speed) : speed(speed) {}

    /// A message comes that was recorded at `time`; `now` counts for the first one alone.
    void meet(std::uint64_t time, std::uint64_t now) {
        if (count == 0) {
            firstDue = now;
            anchor(time, now);
        } else if (isNewRound || time > latest + longestPause || time + longestReturn < latest) {
            anchor(time, dueTime + meanPeriod());
        }
        isNewRound = false;
        latest = std::max(latest, time);
        current = time;
        dueTime = after(latest);
        ++count;
    }
    void startRound() { isNewRound = true; }

    /// Of the message.
    std::uint64_t due() const { return dueTime; }
    /// The same, but for messages that lie before others: these keep their distance.
    std::uint64_t timestamp() const { return after(current); }

    /// The message is handed over. \return by how much all that follows is moved because it is too late
    std::uint64_t handOver(std::uint64_t now) {
        const std::uint64_t late = now > dueTime ? now - dueTime : 0;
        if (late <= longestDelay) {
            return 0;
        }
        anchorDue += late;
        firstDue += late; // as if there had been no delay
        dueTime = now;
        return late;
    }

  private:
    void anchor(std::uint64_t time, std::uint64_t due) {
        anchorTime = latest = time;
        anchorDue = due;
    }

    /// When something recorded at `time` is due.
    std::uint64_t after(std::uint64_t time) const {
        constexpr double farAway = 1e18; // three decades
        const auto distance = static_cast<double>(static_cast<std::int64_t>(time - anchorTime));
        return anchorDue +
               static_cast<std::uint64_t>(std::llround(std::clamp(distance / speed, -farAway, farAway)));
    }

    std::uint64_t meanPeriod() const {
        constexpr std::uint64_t least = 1'000'000; // a trace without times shall not take all processor time
        return count > 1 ? std::max((dueTime - firstDue) / (count - 1), least) : second;
    }

    double speed;
    std::uint64_t count = 0;      ///< messages met
    std::uint64_t anchorTime = 0; ///< a recorded time, and when it is due
    std::uint64_t anchorDue = 0;
    std::uint64_t firstDue = 0;
    std::uint64_t latest = 0; ///< recorded time since the anchor
    std::uint64_t current = 0;
    std::uint64_t dueTime = 0;
    bool isNewRound = false;
};

} // namespace rksignal
