/// \file
/// Finds the signals that have not been written for too long.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rksignal {

/// Signals in the order of their last write. All have the same time-out, so this is also the order in which
/// they expire: a write moves a signal to the end, and whatever has expired stands in front. Both take
/// constant time, and nothing allocates after construction.
class SignalTimeouts {
  public:
    /// For signals 0 to `signals` - 1; none has been written. `timeout` in nanoseconds.
    SignalTimeouts(std::size_t signals, std::uint64_t timeout);

    void written(std::size_t signal, std::uint64_t now);

    /// Whether a signal was last written more than the time-out before `now`.
    bool hasExpired(std::uint64_t now) const;
    /// When the next signal expires. REQUIRES: one has.
    std::uint64_t earliest() const { return entries[entries.back().next].writtenAt + timeout; }
    /// Takes out the signal that expires next. REQUIRES: one has.
    std::size_t take();

    /// The signal has lost its value by other means: it does not expire until it is written again.
    void withdraw(std::size_t signal);

    /// Whether the signal was taken out and not written since.
    bool isTimedOut(std::size_t signal) const { return entries[signal].isTimedOut; }
    std::uint64_t lastWrite(std::size_t signal) const { return entries[signal].writtenAt; }

    /// The clock has been set back: all signals count as written at `now`.
    void restart(std::uint64_t now);

  private:
    struct Entry {
        std::size_t previous; ///< itself when not in the list
        std::size_t next;
        std::uint64_t writtenAt = 0;
        bool isTimedOut = false;
    };

    void unlink(Entry& entry);

    std::vector<Entry> entries; ///< a ring through the last one, which stands for no signal
    std::uint64_t timeout;
};

} // namespace rksignal
