#include "trigger/FiringExplanations.h"

#include "text/NumberText.h"

#include <string>

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

} // namespace

void FiringExplanations::fired(const Firing& firing) {
    if (firingsToo) {
        write(firing.condition, firing.timestamp, firesText(firing.origin));
    }
}

void FiringExplanations::explainAll(std::uint64_t timestamp) {
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        write(triggers.condition(i), timestamp, "");
    }
}

void FiringExplanations::write(const Condition& condition, std::uint64_t timestamp, std::string_view event) {
    out.append(timeText(timestamp, times) + ' ' + condition.name() + std::string(event) + '\n');
    out.append(triggers.explain(condition) + '\n');
    out.endRow();
}

} // namespace rksignal
