#include "condition/TriggerSet.h"

#include "signal/PlainPaths.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <tuple>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t wordBits = 64;
const signalSlot_t blankSlot; // which has no value

/// Calls `function` with the number of each bit that is set.
template <class Function>
void forEachBit(std::uint64_t bits, Function function) {
    for (; bits != 0; bits &= bits - 1) {
        function(static_cast<unsigned>(std::countr_zero(bits)));
    }
}

} // namespace

/// A condition on its way into a group.
struct TriggerSet::Member {
    std::vector<std::size_t> signals; ///< by index, ascending
    ConditionGuard need;
    std::size_t leader; ///< the guard's signal, or the first one if there is no guard, or none; by index
    std::uint32_t number;

    auto guard() const { return std::tuple(leader, need.signal == nullptr); }
    auto group() const { return std::tuple_cat(guard(), std::tie(signals)); }
};

TriggerSet::TriggerSet(const Catalog& catalog, std::vector<Condition> given) {
    std::copy_if(std::move_iterator(given.begin()), std::move_iterator(given.end()),
                 std::back_inserter(conditions),
                 [](const Condition& condition) { return condition.isUsable(); });
    firing.reserve(conditions.size());
    ending.reserve(conditions.size());

    std::vector<Member> members;
    for (std::uint32_t number = 0; number < conditions.size(); ++number) {
        Member member{{}, {}, catalog.signals().size(), number};
        for (const BaseSignal* const signal : conditions[number].signals()) {
            member.signals.push_back(catalog.indexOf(signal->id));
        }
        std::sort(member.signals.begin(), member.signals.end());
        if (!fastPathsOff()) {
            member.need = guardOf(conditions[number].state->compiled->tree());
        }
        if (member.need.signal != nullptr) {
            member.leader = catalog.indexOf(member.need.signal->id);
        } else if (!member.signals.empty()) {
            member.leader = member.signals.front();
        }
        members.push_back(std::move(member));
    }
    std::stable_sort(members.begin(), members.end(),
                     [](const Member& a, const Member& b) { return a.group() < b.group(); });
    buildGroups(members);
    buildUses(members, catalog);
    findWholeMessages(catalog);
}

/// Groups lie in the order of their guards' signals, so that those that one message concerns lie together.
void TriggerSet::buildGroups(const std::vector<Member>& members) {
    places.resize(members.size());
    for (const Member& member : members) {
        const auto index = static_cast<std::uint32_t>(triggers.size());
        if (index == 0 || members[index - 1].group() != member.group()) {
            const bool beginsWord = groups.size() % wordBits == 0;
            if (beginsWord) {
                words.push_back({0, 0, static_cast<std::uint32_t>(guards.size())});
            }
            if (beginsWord || members[index - 1].guard() != member.guard()) {
                guards.push_back(Guard{member.need.signal != nullptr ? member.need.signal->slot : &blankSlot,
                                       member.need.arc(), 0,
                                       static_cast<std::uint8_t>(groups.size() % wordBits)});
            }
            groups.push_back({index, index});
            ++guards.back().groupCount;
        }
        guards.back().raws = hull(guards.back().raws, member.need.arc());
        const Condition::State& state = *conditions[member.number].state;
        triggers.push_back({&state.compiled->parser(), member.need.arc(), member.number,
                            static_cast<std::uint32_t>(groups.size() - 1),
                            static_cast<std::uint32_t>(guards.size() - 1), member.need.decides,
                            state.isEdgeTrigger});
        ++groups.back().last;
        places[member.number] = index;
    }
    evaluations.resize(groups.size());
    dueWords.resize(words.size() + 1);
}

void TriggerSet::buildUses(const std::vector<Member>& members, const Catalog& catalog) {
    std::vector<std::pair<std::size_t, std::uint32_t>> uses; // signal, group
    for (std::uint32_t group = 0; group < groups.size(); ++group) {
        for (const std::size_t signal : members[groups[group].first].signals) {
            uses.emplace_back(signal, group);
        }
    }
    std::sort(uses.begin(), uses.end());
    firstUses.reserve(catalog.signals().size() + 1);
    for (const auto& [signal, group] : uses) {
        const auto word = static_cast<std::uint32_t>(group / wordBits);
        const bool isFirst = firstUses.size() <= signal;
        firstUses.resize(std::max(firstUses.size(), signal + 1), static_cast<std::uint32_t>(allUses.size()));
        if (isFirst || allUses.back().word != word) {
            allUses.push_back({&catalog.signals()[signal]->modified, 0, 0, word});
        }
        const std::uint32_t guard = triggers[groups[group].first].guard;
        allUses.back().groups |= std::uint64_t{1} << group % wordBits;
        allUses.back().guards |= std::uint64_t{1} << (guard - words[word].firstGuard);
    }
    firstUses.resize(catalog.signals().size() + 1, static_cast<std::uint32_t>(allUses.size()));
}

/// The signals of a message follow one another in the catalog. Those of parameter groups are another
/// sender's now and then.
void TriggerSet::findWholeMessages(const Catalog& catalog) {
    wholeMessages.resize(catalog.messages().size());
    for (const auto& decoder : catalog.decoders()) {
        const std::vector<unsigned long> ids = decoder->signals();
        if (ids.empty() || decoder->message().isParameterGroup) {
            continue;
        }
        const auto [first, last] = std::minmax_element(ids.begin(), ids.end(), [&](auto one, auto other) {
            return catalog.indexOf(one) < catalog.indexOf(other);
        });
        wholeMessages[decoder->number()] = {firstUses[catalog.indexOf(*first)],
                                            firstUses[catalog.indexOf(*last) + 1]};
    }
}

void TriggerSet::writtenWhole(std::size_t message) {
    const auto [first, last] = wholeMessages[message];
    if (first == last) {
        return;
    }
    std::uint32_t word = allUses[first].word;
    std::uint64_t dueGroups = 0;
    std::uint64_t dueGuards = 0;
    for (std::uint32_t i = first; i < last; ++i) {
        Use& use = allUses[i];
        if (use.word != word) {
            touch(word, dueGroups, dueGuards);
            word = use.word;
            dueGroups = dueGuards = 0;
        }
        if (use.isNews()) {
            dueGroups |= use.groups;
            dueGuards |= use.guards;
        }
    }
    touch(word, dueGroups, dueGuards);
}

/// Where all guards say false, and nothing was true before, nothing happens.
std::span<const std::uint32_t> TriggerSet::evaluate() {
    firing.clear();
    ending.clear();
    const bool usesGuards = BaseSignal::debug == 0; // whose lines tell of each reading
    for (std::size_t i = 0; i < dueWordCount; ++i) {
        Word& word = words[dueWords[i]];
        const std::size_t firstGroup = dueWords[i] * wordBits;
        Guard* const firstGuard = &guards[word.firstGuard];
        const std::uint64_t due = std::exchange(word.groups, 0);
        forEachBit(due, [&](unsigned group) { ++evaluations[firstGroup + group]; });
        forEachBit(std::exchange(word.guards, 0), [&](unsigned number) {
            Guard& guard = firstGuard[number];
            if (!usesGuards || !guard.isQuiet()) [[unlikely]] {
                forEachBit(due & guard.groups(), [&](unsigned group) {
                    evaluate(groups[firstGroup + group], guard, usesGuards && guard.isKnown());
                });
            }
        });
    }
    dueWordCount = 0;
    std::sort(firing.begin(), firing.end());
    std::sort(ending.begin(), ending.end());
    return firing;
}

void TriggerSet::evaluate(const Range& group, Guard& guard, bool isGuarded) {
    const std::uint64_t raw = isGuarded ? guard.slot->raw : 0;
    for (std::uint32_t i = group.first; i < group.last; ++i) {
        Trigger& trigger = triggers[i];
        bool result = false;
        if (isGuarded && (trigger.isDecided || !trigger.raws.holds(raw))) {
            conclude(trigger, guard, trigger.raws.holds(raw));
        } else if (trigger.parser->getExpResult(result)) {
            conclude(trigger, guard, result);
        } else {
            ++trigger.isUnknown;
        }
    }
}

void TriggerSet::conclude(Trigger& trigger, Guard& guard, bool result) {
    const bool wasTrue = std::exchange(trigger.wasTrue, result);
    if (result) {
        ++trigger.isTrue;
        guard.wereTrue += wasTrue ? 0 : 1;
        if (!(trigger.isEdgeTrigger && wasTrue)) {
            ++trigger.firings;
            firing.push_back(trigger.number);
        }
    } else if (wasTrue) {
        --guard.wereTrue;
        ending.push_back(trigger.number);
    }
}

void TriggerSet::settle() {
    for (Guard& guard : guards) {
        guard.wereTrue = 0;
    }
    for (Trigger& trigger : triggers) {
        bool result = false;
        trigger.wasTrue = trigger.parser->getExpResult(result) && result;
        guards[trigger.guard].wereTrue += trigger.wasTrue ? 1 : 0;
    }
}

std::optional<bool> TriggerSet::value(std::size_t trigger) const {
    bool result = false;
    return triggers[places[trigger]].parser->getExpResult(result) ? std::optional(result) : std::nullopt;
}

TriggerCounts TriggerSet::counts(std::size_t trigger) const {
    const Trigger& of = triggers[places[trigger]];
    return {of.isTrue, evaluations[of.group] - of.isTrue - of.isUnknown, of.isUnknown, of.firings};
}

} // namespace rksignal
