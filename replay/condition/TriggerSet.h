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
        return signal + 1 < offsets.size() && offsets[signal] != offsets[signal + 1];
    }

    /// A signal has changed: its conditions are due. REQUIRES: the catalog has the signal.
    void touch(std::size_t signal);

    /// Evaluates what is due, each condition once. \return those that fire, by index and in their order; good
    /// until the next call
    std::span<const std::uint32_t> evaluate();
    /// Those that this has found false, and were true when last known; good as long.
    std::span<const std::uint32_t> ended() const { return ending; }

    /// What a condition is at this moment; nothing while that cannot be known. Counts for nothing.
    std::optional<bool> value(std::size_t trigger) const;

    std::size_t size() const { return triggers.size(); }
    const Condition& condition(std::size_t trigger) const { return triggers[trigger].condition; }
    const TriggerCounts& counts(std::size_t trigger) const { return triggers[trigger].counts; }

  private:
    struct Trigger {
        Condition condition;
        ExpParser* parser; ///< of the condition, without a detour: most conditions are not in the cache
        TriggerCounts counts = {};
        bool isEdgeTrigger = false;
        bool wasTrue = false; ///< when last known
        bool isDue = false;
    };

    void buildIndex(const Catalog& catalog);
    void evaluate(std::uint32_t number);

    std::vector<Trigger> triggers;
    std::vector<std::uint32_t> offsets; ///< by signal: where its part of `users` starts; one more at the end
    std::vector<std::uint32_t> users;   ///< triggers, grouped by signal
    std::vector<std::uint32_t> due;
    std::vector<std::uint32_t> firing;
    std::vector<std::uint32_t> ending;
};

} // namespace rksignal
