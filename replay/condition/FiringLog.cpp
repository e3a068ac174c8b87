#include "condition/FiringLog.h"

#include <algorithm>

namespace rksignal {

FiringLog::FiringLog(const Triggers& triggers, bool explains, const Limits& given)
    : triggers(triggers), explains(explains), limits(given), logs(triggers.size()) {
    const std::size_t conditions = std::max<std::size_t>(1, logs.size());
    limits.firings = std::min(limits.firings, limits.allFirings / conditions);
    limits.allExplanations /= conditions;
}

void FiringLog::fired(const Firing& firing) {
    Log& log = logs[firing.trigger];
    log.isOpen = log.firings.size() < limits.firings;
    if (log.isOpen) {
        log.firings.push_back({firing.timestamp, std::nullopt, explain(firing, log)});
    }
}

std::string FiringLog::explain(const Firing& firing, Log& log) const {
    if (!explains || log.explanations >= limits.allExplanations) {
        return {};
    }
    std::string text = triggers.explain(firing.condition);
    text.resize(std::min(text.find_last_not_of('\n') + 1, text.size()));
    if (text.size() > limits.explanation) {
        text.resize(limits.explanation);
        text += "...";
    }
    log.explanations += text.size();
    return text;
}

void FiringLog::ended(std::size_t trigger, std::uint64_t timestamp) {
    Log& log = logs[trigger];
    if (log.isOpen) {
        log.firings.back().end = timestamp;
        log.isOpen = false;
    }
}

std::uint64_t FiringLog::omitted(std::size_t trigger) const {
    return triggers.counts(trigger).firings - logs[trigger].firings.size();
}

} // namespace rksignal
