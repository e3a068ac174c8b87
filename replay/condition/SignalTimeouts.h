/// \file
/// Finds the signals that have not been written for too long.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <list>
#include <map>
#include <optional>
#include <vector>

namespace rksignal {

/// Signals in the order of their last write, a list for each time-out that occurs. In a list, this is also
/// the order in which they expire: a write moves a signal to the end, and whatever has expired stands in
/// front. Writes and looks take constant time, an expiry that of the number of lists, and nothing but add()
/// allocates.
class SignalTimeouts {
  public:
    /// Adds the next signal; the first one is 0. It has not been written. `timeout` in nanoseconds; none: it
    /// never expires.
    void add(std::optional<std::uint64_t> timeout);
    std::size_t size() const { return entries.size(); }

    void written(std::size_t signal, std::uint64_t now);

    /// Whether a signal was last written more than its time-out before `now`.
    bool hasExpired(std::uint64_t now);
    /// When the next signal expires. REQUIRES: one has.
    std::uint64_t earliest() const { return next()->expiry(entries); }
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
    using Places = std::list<std::size_t>;
    struct Group;
    struct Entry {
        Group* group; ///< null: it never expires
        Places::iterator place;
        std::uint64_t writtenAt = 0;
        bool isWaiting = false; ///< it is in the list of its group, not among the idle ones
        bool isTimedOut = false;
    };
    /// The signals with one time-out.
    struct Group {
        std::uint64_t timeout;
        Places signals = {};

        std::uint64_t expiry(const std::vector<Entry>& entries) const;
    };

    const Group* next() const;
    void rest(Entry& entry);

    std::vector<Entry> entries;
    std::map<std::uint64_t, Group> groups; ///< by time-out
    Places idle;
    std::uint64_t nobodyBefore = std::numeric_limits<std::uint64_t>::max(); ///< nothing expires earlier
};

} // namespace rksignal
