#include "condition/TriggerSet.h"

#include <algorithm>
#include <utility>

namespace rksignal {

TriggerSet::TriggerSet(const Catalog& catalog, std::vector<Condition> conditions) {
    for (Condition& condition : conditions) {
        if (condition.isUsable()) {
            ExpParser& parser = condition.state->compiled->parser();
            const bool isEdgeTrigger = condition.state->isEdgeTrigger;
            triggers.push_back({std::move(condition), &parser, {}, isEdgeTrigger});
        }
    }
    due.reserve(triggers.size());
    firing.reserve(triggers.size());
    ending.reserve(triggers.size());
    buildIndex(catalog);
}

void TriggerSet::buildIndex(const Catalog& catalog) {
    std::vector<std::pair<std::size_t, std::uint32_t>> uses; // signal, trigger
    for (std::uint32_t trigger = 0; trigger < triggers.size(); ++trigger) {
        for (const BaseSignal* const signal : triggers[trigger].condition.signals()) {
            uses.emplace_back(catalog.indexOf(signal->id), trigger);
        }
    }
    std::sort(uses.begin(), uses.end());
    offsets.assign(catalog.signals().size() + 1, 0);
    for (const auto& [signal, trigger] : uses) {
        ++offsets[signal + 1];
        users.push_back(trigger);
    }
    for (std::size_t signal = 0; signal + 1 < offsets.size(); ++signal) {
        offsets[signal + 1] += offsets[signal];
    }
}

void TriggerSet::touch(std::size_t signal) {
    for (std::uint32_t user = offsets[signal]; user < offsets[signal + 1]; ++user) {
        if (!std::exchange(triggers[users[user]].isDue, true)) {
            due.push_back(users[user]);
        }
    }
}

std::span<const std::uint32_t> TriggerSet::evaluate() {
    firing.clear();
    ending.clear();
    for (const std::uint32_t trigger : due) {
        evaluate(trigger);
    }
    due.clear();
    std::sort(firing.begin(), firing.end());
    std::sort(ending.begin(), ending.end());
    return firing;
}

std::optional<bool> TriggerSet::value(std::size_t trigger) const {
    bool result = false;
    return triggers[trigger].parser->getExpResult(result) ? std::optional(result) : std::nullopt;
}

void TriggerSet::evaluate(std::uint32_t number) {
    Trigger& trigger = triggers[number];
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
        firing.push_back(number);
    } else if (!result && wasTrue) {
        ending.push_back(number);
    }
}

} // namespace rksignal
