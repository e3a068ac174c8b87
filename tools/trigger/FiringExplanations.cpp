#include "trigger/FiringExplanations.h"

#include "condition/Explanation.h"

#include <sstream>

namespace rksignal {
namespace {

/// ` fires, can channel 1`, ` fires, gps` or ` fires, time-out`
std::string firesText(const std::optional<MessageOrigin>& origin) {
    if (!origin) {
        return " fires, time-out";
    }
    const std::string channel = origin->channel ? " channel " + std::to_string(*origin->channel) : "";
    return " fires, " + std::string(kindName(origin->kind)) + channel;
}

/// What the last message did, other than giving the signal a value.
const char* reasonOf(Reception reception) {
    switch (reception) {
    case Reception::TooShort:
        return "frame too short";
    case Reception::Withdrawn:
        return "no fix";
    default: // long enough, and still no value: whatever is read of the multiplexer now
        return "branch inactive";
    }
}

} // namespace

void FiringExplanations::fired(const Firing& firing) {
    if (firingsToo) {
        write(firing.trigger, firing.timestamp, firesText(firing.origin));
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
        condition, [this](BaseSignal& signal) { return whyUnknown(signal); }, text);
    text << '\n';
    out.append(text.str());
    out.endRow();
}

std::string FiringExplanations::whyUnknown(BaseSignal& signal) const {
    const Reception reception = catalog.receptionOf(signal);
    if (reception == Reception::NeverSeen) {
        return "never seen";
    }
    std::string last = reasonOf(reception);
    const std::size_t index = catalog.indexOf(signal.id);
    if (timeouts == nullptr || !timeouts->isTimedOut(index)) {
        return last;
    }
    const std::string text = "timed out, last seen at " + timeText(timeouts->lastWrite(index));
    const bool isGiven = reception == Reception::Written || reception == Reception::Withdrawn;
    return isGiven ? text : text + "; " + last;
}

} // namespace rksignal
