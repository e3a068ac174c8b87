/// \file
/// The inside of Triggers: conditions by their signals.
#pragma once

#include "catalog/Catalog.h"
#include "condition/ConditionGuard.h"
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
/// Per frame the cost is that of the conditions whose signals have changed, however many others there are,
/// and conditions that are false and stay so are mostly not looked at one by one: those with the same signals
/// and the same signal in their guard are a group, which knows what all their guards leave out.
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
        if (!std::exchange(used.isKnown, true) || *used.modified) {
            touch(used);
        }
    }
    /// The same for all signals of a message, see ValueSink::writtenWhole(); whether they are used or not.
    void writtenWhole(std::size_t message) {
        const Range& range = wholeMessages[message];
        for (std::uint32_t i = range.first; i < range.last; ++i) {
            written(usedTogether[i]);
        }
    }
    /// The signal has a value, which is no news.
    void hasValue(std::size_t signal) { signals[signal].isKnown = true; }
    /// The signal has lost its value: its conditions are due.
    void lost(std::size_t signal) {
        signals[signal].isKnown = false;
        touch(signals[signal]);
    }

    /// Evaluates what is due, each condition once. \return those that fire, by index and in their order; good
    /// until the next call
    std::span<const std::uint32_t> evaluate();
    /// Takes note of what all conditions come to now; none of them fires.
    void settle();
    /// Those that this has found false, and were true when last known; good as long.
    std::span<const std::uint32_t> ended() const { return ending; }

    /// What a condition is at this moment; nothing while that cannot be known. Counts for nothing.
    std::optional<bool> value(std::size_t trigger) const;

    std::size_t size() const { return conditions.size(); }
    const Condition& condition(std::size_t trigger) const { return conditions[trigger]; }
    TriggerCounts counts(std::size_t trigger) const;

  private:
    /// What an evaluation needs and changes, in one cache line. Most are in no cache when their turn comes.
    struct alignas(64) Trigger {
        ExpParser* parser;      ///< of the condition
        RawInterval raws;       ///< of its guard
        std::uint32_t number;   ///< of the condition
        bool isDecided = false; ///< by its guard
        bool isEdgeTrigger = false;
        bool wasTrue = false; ///< when last known
        std::uint64_t isTrue = 0;
        std::uint64_t isUnknown = 0;
        std::uint64_t firings = 0;
    };
    /// Conditions that are due at the same time, as they have the same signals; in one cache line.
    struct alignas(64) Group {
        const signalSlot_t* guard = nullptr; ///< slot of the signal of their guards; null: they have none
        RawInterval raws = {};               ///< holds those of all guards
        std::uint64_t turn = 0;              ///< of the guards
        std::uint64_t evaluations = 0;       ///< of each
        std::uint32_t firstTrigger = 0;
        std::uint32_t lastTrigger = 0; ///< behind it
        std::uint32_t wereTrue = 0;    ///< how many, when last known

        /// Whether guards tell anything: nothing of a signal without a value.
        bool isGuarded() const { return guard != nullptr && guard->valid != 0; }
        std::uint64_t guardedRaw() const { return guard->raw ^ turn; }
    };
    /// What a written signal needs, side by side with the other signals of its message.
    struct UsedSignal {
        const bool* modified = nullptr;
        std::uint32_t firstUser = 0; ///< its part of `users`
        std::uint32_t lastUser = 0;  ///< behind it
        bool isKnown = false;        ///< has a value
    };
    /// Up to 64 neighbouring groups that use a signal.
    struct Users {
        std::uint32_t word; ///< of `dueGroups`
        std::uint64_t groups;
    };
    struct Range {
        std::uint32_t first = 0;
        std::uint32_t last = 0; ///< behind it
    };
    struct Member;

    void buildGroups(const std::vector<Member>& members);
    void buildUsers(const std::vector<Member>& members, const Catalog& catalog);
    void findWholeMessages(const Catalog& catalog);
    /// Notes the groups that are due. A word is noted before it is known whether that is needed: no branch.
    void touch(const UsedSignal& signal) {
        for (std::uint32_t user = signal.firstUser; user < signal.lastUser; ++user) {
            const auto& [word, mask] = users[user];
            dueWords[dueWordCount] = word;
            dueWordCount += dueGroups[word] == 0 ? 1 : 0;
            dueGroups[word] |= mask;
        }
    }
    void evaluate(Group& group, bool isGuarded);
    void conclude(Trigger& trigger, Group& group, bool result);

    std::vector<Condition> conditions;
    std::vector<Trigger> triggers; ///< those of one message lie together, as do groups
    std::vector<Group> groups;
    std::vector<Range> places; ///< by number of the condition: indices of its trigger and of its group
    std::vector<UsedSignal> signals;
    std::vector<Users> users;                ///< grouped by signal
    std::vector<std::uint32_t> usedTogether; ///< signals of whole messages
    std::vector<Range> wholeMessages;        ///< by message: its part of `usedTogether`
    std::vector<std::uint64_t> dueGroups;    ///< a bit for each
    std::vector<std::uint32_t> dueWords;     ///< words of `dueGroups` that are not zero, and room for one
    std::size_t dueWordCount = 0;
    std::vector<std::uint32_t> firing; ///< by number of the condition, as are those that end
    std::vector<std::uint32_t> ending;
};

} // namespace rksignal
