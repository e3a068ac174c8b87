#include "condition/TriggerSet.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace rksignal {

TriggerSet::TriggerSet(const Catalog& catalog, std::vector<Condition> given) {
    std::copy_if(std::move_iterator(given.begin()), std::move_iterator(given.end()),
                 std::back_inserter(conditions),
                 [](const Condition& condition) { return condition.isUsable(); });
    due.reserve(conditions.size());
    firing.reserve(conditions.size());
    ending.reserve(conditions.size());
    buildIndex(catalog);
}

/// Triggers lie in the order of their signals, so that those that one message concerns lie together.
void TriggerSet::buildIndex(const Catalog& catalog) {
    std::vector<std::pair<std::size_t, std::uint32_t>> uses; // signal, condition
    for (std::uint32_t number = 0; number < conditions.size(); ++number) {
        for (const BaseSignal* const signal : conditions[number].signals()) {
            uses.emplace_back(catalog.indexOf(signal->id), number);
        }
    }
    std::sort(uses.begin(), uses.end());

    constexpr auto nowhere = static_cast<std::uint32_t>(-1);
    places.assign(conditions.size(), nowhere);
    const auto place = [this](std::uint32_t number) {
        if (places[number] == nowhere) {
            places[number] = static_cast<std::uint32_t>(triggers.size());
            const Condition::State& state = *conditions[number].state;
            triggers.push_back({&state.compiled->parser(), {}, number, state.isEdgeTrigger});
        }
        return places[number];
    };
    signals.resize(catalog.signals().size());
    for (const auto& [signal, number] : uses) {
        UsedSignal& used = signals[signal];
        if (used.signal == nullptr) {
            used.signal = catalog.signals()[signal].get();
            used.firstUser = static_cast<std::uint32_t>(users.size());
        }
        users.push_back(place(number));
        used.lastUser = static_cast<std::uint32_t>(users.size());
    }
    for (std::uint32_t number = 0; number < conditions.size(); ++number) {
        place(number); // also one without signals
    }
}

/// What a trigger that becomes due will need is fetched while the others are looked for.
void TriggerSet::touch(const UsedSignal& signal) {
    for (std::uint32_t user = signal.firstUser; user < signal.lastUser; ++user) {
        Trigger& trigger = triggers[users[user]];
        if (!std::exchange(trigger.isDue, true)) {
            __builtin_prefetch(trigger.parser);
            due.push_back(users[user]);
        }
    }
}

std::span<const std::uint32_t> TriggerSet::evaluate() {
    firing.clear();
    ending.clear();
    for (const std::uint32_t trigger : due) {
        evaluate(triggers[trigger]);
    }
    due.clear();
    std::sort(firing.begin(), firing.end());
    std::sort(ending.begin(), ending.end());
    return firing;
}

std::optional<bool> TriggerSet::value(std::size_t trigger) const {
    bool result = false;
    return triggers[places[trigger]].parser->getExpResult(result) ? std::optional(result) : std::nullopt;
}

void TriggerSet::evaluate(Trigger& trigger) {
    trigger.isDue = false;
    bool result = false;
    if (!trigger.parser->getExpResult(result)) {
        ++trigger.counts.isUnknown;
        return;
    }
    ++(result ? trigger.counts.isTrue : trigger.counts.isFalse);
    const bool wasTrue = std::exchange(trigger.wasTrue, result);
    if (result && !(trigger.isEdgeTrigger && wasTrue)) {
        ++trigger.counts.firings;
        firing.push_back(trigger.number);
    } else if (!result && wasTrue) {
        ending.push_back(trigger.number);
    }
}

} // namespace rksignal
