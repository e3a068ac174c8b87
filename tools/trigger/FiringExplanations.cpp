#include "trigger/FiringExplanations.h"

#include "condition/Explanation.h"

#include <sstream>

namespace rksignal {
namespace {

Reception receptionOf(const Catalog& catalog, const BaseSignal& signal) {
    for (const auto& decoder : catalog.decoders()) {
        const Reception reception = decoder->receptionOf(signal);
        if (reception != Reception::Foreign) {
            return reception;
        }
    }
    return Reception::Foreign;
}

} // namespace

void FiringExplanations::fired(const Firing& firing) {
    if (firingsToo) {
        write(firing.trigger, firing.timestamp,
              firing.channel ? " fires, channel " + std::to_string(*firing.channel) : " fires, time-out");
    }
}

void FiringExplanations::explainAll(std::uint64_t timestamp) {
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        write(i, timestamp, "");
    }
}

void FiringExplanations::write(std::size_t trigger, std::uint64_t timestamp, std::string_view event) {
    std::ostringstream text;
    Condition& condition = triggers.condition(trigger);
    text << timeText(timestamp) << ' ' << condition.name() << event << '\n';
    explain(
        condition, [this](const BaseSignal& signal) { return whyUnknown(signal); }, text);
    text << '\n';
    out.append(text.str());
}

std::string FiringExplanations::whyUnknown(const BaseSignal& signal) const {
    const Reception reception = receptionOf(catalog, signal);
    if (reception == Reception::NeverSeen) {
        return "never seen";
    }
    std::string last = reception == Reception::TooShort ? "frame too short" : "branch inactive";
    const std::size_t index = catalog.indexOf(signal.id);
    if (timeouts == nullptr || !timeouts->isTimedOut(index)) {
        return last; // long enough, and still no value: whatever is read of the multiplexer now
    }
    const std::string text = "timed out, last seen at " + timeText(timeouts->lastWrite(index));
    return reception == Reception::Written ? text : text + "; " + last;
}

} // namespace rksignal
