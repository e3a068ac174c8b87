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
/// and conditions that are false and stay so are mostly not looked at one by one: those with the same signal
/// in their guard are passed over together while its raw value lies outside of what any of them needs.
/// Nothing allocates after construction.
class TriggerSet {
  public:
    /// REQUIRES: the signals of all conditions are signals of `catalog`, which is complete.
    TriggerSet(const Catalog& catalog, std::vector<Condition> conditions);

    /// Whether a condition uses the signal; none uses one that was added since. Signals are named by their
    /// index in Catalog::signals().
    bool uses(std::size_t signal) const {
        return signal + 1 < firstUses.size() && firstUses[signal] != firstUses[signal + 1];
    }

    /// A message has written the signal: if that has changed its value, or given it one, its conditions are
    /// due. REQUIRES here and below: uses(signal)
    void written(std::size_t signal) {
        for (Use& use : usesOf(signal)) {
            if (use.isNews()) {
                touch(use);
            }
        }
    }
    /// The same for all signals of a message, see ValueSink::writtenWhole(); whether they are used or not.
    void writtenWhole(std::size_t message);
    /// The signal has a value, which is no news.
    void hasValue(std::size_t signal) {
        for (Use& use : usesOf(signal)) {
            use.isKnown = true;
        }
    }
    /// The signal has lost its value: its conditions are due.
    void lost(std::size_t signal) {
        for (Use& use : usesOf(signal)) {
            use.isKnown = false;
            touch(use);
        }
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
        ExpParser* parser;    ///< of the condition
        RawArc raws;          ///< of its guard
        std::uint32_t number; ///< of the condition
        std::uint32_t group;
        std::uint32_t guard;
        bool isDecided = false; ///< by its guard
        bool isEdgeTrigger = false;
        bool wasTrue = false; ///< when last known
        std::uint64_t isTrue = 0;
        std::uint64_t isUnknown = 0;
        std::uint64_t firings = 0;
    };
    /// What neighbouring groups of one word wait for, as the guards of their conditions have the same signal;
    /// or those without guards, with the same first signal.
    struct alignas(32) Guard {
        const signalSlot_t* slot;    ///< of the signal of all guards; blank if there are none
        RawArc raws = {};            ///< holds those of all guards
        std::uint32_t wereTrue = 0;  ///< how many conditions, when last known
        std::uint8_t firstGroup = 0; ///< in the word
        std::uint8_t groupCount = 0;

        /// Whether it tells anything: nothing of a signal without a value.
        bool isKnown() const { return slot->valid != 0; }
        /// Whether all are false, and were before.
        bool isQuiet() const { return isKnown() && !raws.holds(slot->raw) && wereTrue == 0; }
        std::uint64_t groups() const { return ~std::uint64_t{0} >> (64 - groupCount) << firstGroup; }
    };
    /// Up to 64 neighbouring groups, with those of them that are due and their guards, a bit each.
    struct Word {
        std::uint64_t groups = 0;
        std::uint64_t guards = 0;
        std::uint32_t firstGuard = 0;
    };
    /// A signal that groups of one word use, side by side with the other signals of its message.
    struct Use {
        const bool* modified; ///< of the signal
        std::uint64_t groups = 0;
        std::uint64_t guards = 0;
        std::uint32_t word = 0;
        bool isKnown = false; ///< the signal has a value

        /// Whether what has just been written is another value than before, or the first one.
        bool isNews() { return !std::exchange(isKnown, true) || *modified; }
    };
    struct Range {
        std::uint32_t first = 0;
        std::uint32_t last = 0; ///< behind it
    };
    struct Member;

    void buildGroups(const std::vector<Member>& members);
    void buildUses(const std::vector<Member>& members, const Catalog& catalog);
    void findWholeMessages(const Catalog& catalog);
    std::span<Use> usesOf(std::size_t signal) {
        return {&allUses[firstUses[signal]], firstUses[signal + 1] - firstUses[signal]};
    }
    /// Notes the groups that are due. A word is noted before it is known whether that is needed: no branch.
    void touch(std::uint32_t index, std::uint64_t groups, std::uint64_t guards) {
        Word& word = words[index];
        dueWords[dueWordCount] = index;
        dueWordCount += word.groups == 0 && groups != 0 ? 1 : 0;
        word.groups |= groups;
        word.guards |= guards;
    }
    void touch(const Use& use) { touch(use.word, use.groups, use.guards); }
    void evaluate(const Range& group, Guard& guard, bool isGuarded);
    void conclude(Trigger& trigger, Guard& guard, bool result);

    std::vector<Condition> conditions;
    std::vector<Trigger> triggers; ///< those of one message lie together, as do groups
    /// Of `triggers`: conditions that are due at the same time, as they have the same signals, and the same
    /// signal in their guards.
    std::vector<Range> groups;
    std::vector<std::uint64_t> evaluations; ///< of each condition of a group
    std::vector<Guard> guards;
    std::vector<Word> words;              ///< of groups
    std::vector<std::uint32_t> places;    ///< of triggers, by number of the condition
    std::vector<Use> allUses;             ///< in the order of signals
    std::vector<std::uint32_t> firstUses; ///< by signal, with the end
    std::vector<Range> wholeMessages;     ///< by message: its part of `allUses`
    std::vector<std::uint32_t> dueWords;  ///< in which a group is due, and room for one more
    std::size_t dueWordCount = 0;
    std::vector<std::uint32_t> firing; ///< by number of the condition, as are those that end
    std::vector<std::uint32_t> ending;
};

} // namespace rksignal
