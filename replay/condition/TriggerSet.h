/// \file
/// The inside of Triggers: conditions by their signals.
#pragma once

#include "catalog/Catalog.h"
#include "condition/ConditionState.h"
#include "condition/Triggers.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace rksignal {

/// Conditions, and an index that leads from a signal to those that use it.
///
/// Per frame the cost is that of the conditions whose signals have changed, however many others there are.
/// Nothing allocates after construction.
class TriggerSet {
  public:
    /// REQUIRES: the signals of all conditions are signals of `catalog`, which is complete.
    TriggerSet(const Catalog& catalog, std::vector<Condition> conditions);

    /// Whether a condition uses the signal; none uses one that was added since. Signals are named by their
    /// index in Catalog::signals().
    bool uses(std::size_t signal) const {
        return signal < signals.size() && signals[signal].firstUser != signals[signal].lastUser;
    }

    /// A message has written the signal: if that has changed its value, or given it one, its conditions are
    /// due. REQUIRES here and below: uses(signal)
    void written(std::size_t signal) {
        UsedSignal& used = signals[signal];
        if (!std::exchange(used.isKnown, true) || used.signal->modified) {
            touch(used);
        }
    }
    /// The signal has lost its value: its conditions are due.
    void lost(std::size_t signal) {
        signals[signal].isKnown = false;
        touch(signals[signal]);
    }

    /// Evaluates what is due, each condition once. \return those that fire, by index and in their order; good
    /// until the next call
    std::span<const std::uint32_t> evaluate();
    /// Those that this has found false, and were true when last known; good as long.
    std::span<const std::uint32_t> ended() const { return ending; }

    /// What a condition is at this moment; nothing while that cannot be known. Counts for nothing.
    std::optional<bool> value(std::size_t trigger) const;

    std::size_t size() const { return conditions.size(); }
    const Condition& condition(std::size_t trigger) const { return conditions[trigger]; }
    const TriggerCounts& counts(std::size_t trigger) const { return triggers[places[trigger]].counts; }

  private:
    /// What an evaluation needs and changes, in one cache line. Most are in no cache when their turn comes.
    struct alignas(64) Trigger {
        ExpParser* parser; ///< of the condition
        TriggerCounts counts = {};
        std::uint32_t number; ///< of the condition
        bool isEdgeTrigger = false;
        bool wasTrue = false; ///< when last known
        bool isDue = false;
    };
    /// What a written signal needs, side by side with the other signals of its message.
    struct UsedSignal {
        const BaseSignal* signal = nullptr;
        std::uint32_t firstUser = 0; ///< its part of `users`
        std::uint32_t lastUser = 0;  ///< behind it
        bool isKnown = false;        ///< has a value
    };

    void buildIndex(const Catalog& catalog);
    void touch(const UsedSignal& signal);
    void evaluate(Trigger& trigger);

    std::vector<Condition> conditions;
    std::vector<Trigger> triggers;     ///< those of one message lie together
    std::vector<std::uint32_t> places; ///< by number of the condition: index of its trigger
    std::vector<UsedSignal> signals;
    std::vector<std::uint32_t> users; ///< triggers by index, grouped by signal
    std::vector<std::uint32_t> due;
    std::vector<std::uint32_t> firing; ///< by number of the condition, as are those that end
    std::vector<std::uint32_t> ending;
};

} // namespace rksignal
