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

} // namespace

/// A condition on its way into a group.
struct TriggerSet::Member {
    std::vector<std::size_t> signals; ///< by index, ascending
    ConditionGuard guard;
    std::size_t guardedBy; ///< the guard's signal, by index
    std::uint32_t number;

    auto group() const { return std::tie(signals, guardedBy); }
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
            member.guard = guardOf(conditions[number].state->compiled->tree());
        }
        if (member.guard.signal != nullptr) {
            member.guardedBy = catalog.indexOf(member.guard.signal->id);
        }
        members.push_back(std::move(member));
    }
    std::stable_sort(members.begin(), members.end(),
                     [](const Member& a, const Member& b) { return a.group() < b.group(); });
    buildGroups(members);
    buildUsers(members, catalog);
    findWholeMessages(catalog);
}

/// Groups lie in the order of their signals, so that those that one message concerns lie together.
void TriggerSet::buildGroups(const std::vector<Member>& members) {
    places.resize(members.size());
    for (const Member& member : members) {
        const auto index = static_cast<std::uint32_t>(triggers.size());
        if (index == 0 || members[index - 1].group() != member.group()) {
            const ConditionGuard& guard = member.guard;
            groups.push_back({guard.signal != nullptr ? guard.signal->slot : nullptr, guard.raws,
                              guard.turn(), 0, index, index});
        }
        Group& group = groups.back();
        if (!member.guard.raws.isEmpty()) {
            group.raws = {std::min(group.raws.low, member.guard.raws.low),
                          std::max(group.raws.high, member.guard.raws.high)};
        }
        const Condition::State& state = *conditions[member.number].state;
        triggers.push_back({&state.compiled->parser(), member.guard.raws, member.number, member.guard.decides,
                            state.isEdgeTrigger});
        ++group.lastTrigger;
        places[member.number] = {index, static_cast<std::uint32_t>(groups.size() - 1)};
    }
    dueGroups.resize((groups.size() + wordBits - 1) / wordBits);
    dueWords.resize(dueGroups.size() + 1);
}

void TriggerSet::buildUsers(const std::vector<Member>& members, const Catalog& catalog) {
    std::vector<std::pair<std::size_t, std::uint32_t>> uses; // signal, group
    for (std::uint32_t group = 0; group < groups.size(); ++group) {
        for (const std::size_t signal : members[groups[group].firstTrigger].signals) {
            uses.emplace_back(signal, group);
        }
    }
    std::sort(uses.begin(), uses.end());
    signals.resize(catalog.signals().size());
    for (const auto& [signal, group] : uses) {
        UsedSignal& used = signals[signal];
        if (used.modified == nullptr) {
            used.modified = &catalog.signals()[signal]->modified;
            used.firstUser = used.lastUser = static_cast<std::uint32_t>(users.size());
        }
        const auto word = static_cast<std::uint32_t>(group / wordBits);
        if (used.firstUser == used.lastUser || users.back().word != word) {
            users.push_back({word, 0});
            ++used.lastUser;
        }
        users.back().groups |= std::uint64_t{1} << group % wordBits;
    }
}

/// Signals of parameter groups are another sender's now and then.
void TriggerSet::findWholeMessages(const Catalog& catalog) {
    wholeMessages.resize(catalog.messages().size());
    for (const auto& decoder : catalog.decoders()) {
        Range& range = wholeMessages[decoder->number()];
        if (decoder->message().isParameterGroup) {
            continue;
        }
        range.first = static_cast<std::uint32_t>(usedTogether.size());
        for (const unsigned long id : decoder->signals()) {
            if (const std::size_t signal = catalog.indexOf(id); uses(signal)) {
                usedTogether.push_back(static_cast<std::uint32_t>(signal));
            }
        }
        range.last = static_cast<std::uint32_t>(usedTogether.size());
    }
}

/// Where all guards say false, and nothing was true before, nothing happens.
std::span<const std::uint32_t> TriggerSet::evaluate() {
    firing.clear();
    ending.clear();
    const bool usesGuards = BaseSignal::debug == 0; // whose lines tell of each reading
    for (std::size_t i = 0; i < dueWordCount; ++i) {
        Group* const first = &groups[dueWords[i] * wordBits];
        for (std::uint64_t due = std::exchange(dueGroups[dueWords[i]], 0); due != 0; due &= due - 1) {
            Group& group = first[std::countr_zero(due)];
            ++group.evaluations;
            const bool isGuarded = usesGuards && group.isGuarded();
            if (!isGuarded || group.raws.holds(group.guardedRaw()) || group.wereTrue != 0) [[unlikely]] {
                evaluate(group, isGuarded);
            }
        }
    }
    dueWordCount = 0;
    std::sort(firing.begin(), firing.end());
    std::sort(ending.begin(), ending.end());
    return firing;
}

void TriggerSet::evaluate(Group& group, bool isGuarded) {
    const std::uint64_t raw = isGuarded ? group.guardedRaw() : 0;
    for (std::uint32_t i = group.firstTrigger; i < group.lastTrigger; ++i) {
        Trigger& trigger = triggers[i];
        bool result = false;
        if (isGuarded && (trigger.isDecided || !trigger.raws.holds(raw))) {
            conclude(trigger, group, trigger.raws.holds(raw));
        } else if (trigger.parser->getExpResult(result)) {
            conclude(trigger, group, result);
        } else {
            ++trigger.isUnknown;
        }
    }
}

void TriggerSet::conclude(Trigger& trigger, Group& group, bool result) {
    const bool wasTrue = std::exchange(trigger.wasTrue, result);
    if (result) {
        ++trigger.isTrue;
        group.wereTrue += wasTrue ? 0 : 1;
        if (!(trigger.isEdgeTrigger && wasTrue)) {
            ++trigger.firings;
            firing.push_back(trigger.number);
        }
    } else if (wasTrue) {
        --group.wereTrue;
        ending.push_back(trigger.number);
    }
}

void TriggerSet::settle() {
    for (Group& group : groups) {
        group.wereTrue = 0;
        for (std::uint32_t i = group.firstTrigger; i < group.lastTrigger; ++i) {
            bool result = false;
            triggers[i].wasTrue = triggers[i].parser->getExpResult(result) && result;
            group.wereTrue += triggers[i].wasTrue ? 1 : 0;
        }
    }
}

std::optional<bool> TriggerSet::value(std::size_t trigger) const {
    bool result = false;
    return triggers[places[trigger].first].parser->getExpResult(result) ? std::optional(result)
                                                                        : std::nullopt;
}

TriggerCounts TriggerSet::counts(std::size_t trigger) const {
    const auto& [place, group] = places[trigger];
    const Trigger& of = triggers[place];
    return {of.isTrue, groups[group].evaluations - of.isTrue - of.isUnknown, of.isUnknown, of.firings};
}

} // namespace rksignal
