/// \file
/// What `rksignal serve` knows, shared by the thread that polls and those that answer.
#pragma once

#include "catalog/Catalog.h"
#include "condition/Condition.h"
#include "condition/Triggers.h"
#include "live/SlotReplay.h"
#include "output/StaleAge.h"
#include "serve/LiveValues.h"
#include "serve/RecentCurves.h"
#include "serve/RecentFirings.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace rksignal {

struct LiveSettings {
    std::optional<std::uint64_t> timeout = {};         ///< TriggerSettings::timeout
    std::uint64_t staleAfter = usualStaleAge;          ///< staleAge() at least
    std::uint64_t history = 600'000'000'000;           ///< nanoseconds of curves that are kept at least
    std::size_t historyMemory = std::size_t{64} << 20; ///< bytes for them
};

/// What is known of a condition.
struct TriggerState {
    std::optional<bool> isTrue = {}; ///< nothing: that cannot be known now
    std::uint64_t firings = 0;
    std::uint64_t version = 0; ///< the poll that changed any of this
};

/// The signals in shared memory, their last minutes, and the conditions over them.
class LiveState {
  public:
    /// `catalog`, whose signals are private ones, must outlive the object.
    LiveState(Catalog& catalog, std::vector<Condition> conditions, const LiveSettings& settings);

    /// What may be read under the lock.
    struct Contents {
        const Catalog& catalog;
        const LiveSettings& settings;
        LiveValues values;
        RecentCurves curves;
        Triggers triggers;
        RecentFirings firings;
        SlotReplay slots;
        std::vector<TriggerState> states; ///< by trigger
        std::uint64_t version = 0;        ///< number of polls that brought something
        std::uint64_t start;              ///< when the program started, nanoseconds since 1970-01-01 UTC
        std::uint64_t origin;             ///< the midnight before, UTC

        Contents(Catalog& catalog, std::vector<Condition> conditions, const LiveSettings& settings);
    };

    /// Looks at all slots; wakes those who wait if there is anything new.
    void poll();
    /// Nobody waits any more.
    void close();
    bool closed() const;
    /// Nanoseconds since the last poll ended.
    std::chrono::nanoseconds sinceLastPoll() const;

    /// Waits until there is something newer than `version`, at most as long as `most`. \return false if the
    /// state has been closed
    bool awaitNews(std::uint64_t version, std::chrono::milliseconds most) const;

    /// Calls `use` with the contents, while no poll goes on. To be short: the poll waits for it.
    template <class Use>
    auto read(Use&& use) const {
        const std::scoped_lock lock(mutex);
        return std::forward<Use>(use)(std::as_const(contents));
    }

  private:
    bool updateTriggers();

    LiveSettings settings;
    Contents contents;
    mutable std::mutex mutex;
    mutable std::condition_variable news;
    std::chrono::steady_clock::time_point polledAt;
    bool isClosed = false;
};

} // namespace rksignal
