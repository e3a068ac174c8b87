#include "plot/ConditionLanes.h"

#include "text/PrintableText.h"

#include <algorithm>

namespace rksignal {

void SpanList::add(std::uint64_t from) {
    if (all.size() == mostSpans) {
        join();
    }
    const std::uint64_t begin = all.empty() ? from : std::max(from, all.back().to);
    all.push_back({begin, begin});
}

void SpanList::end(std::uint64_t to) {
    if (!all.empty()) {
        all.back().to = std::max(all.back().to, to);
    }
}

void SpanList::join() {
    while (all.size() > mostSpans / 2) {
        distance *= 2;
        std::size_t last = 0;
        for (std::size_t i = 1; i < all.size(); ++i) {
            if (all[i].from - all[last].to < distance) {
                all[last].to = all[i].to;
            } else {
                all[++last] = all[i];
            }
        }
        all.resize(last + 1);
    }
}

void ConditionLanes::fired(const Firing& firing) {
    Condition& condition = conditions[firing.trigger];
    condition.spans.add(firing.timestamp);
    condition.isTrue = true;
}

void ConditionLanes::ended(std::size_t trigger, std::uint64_t timestamp) {
    conditions[trigger].spans.end(timestamp);
    conditions[trigger].isTrue = false;
}

std::vector<FigureLane> ConditionLanes::lanes(std::uint64_t end) {
    std::vector<FigureLane> lanes;
    for (std::size_t i = 0; i < conditions.size(); ++i) {
        if (conditions[i].isTrue) {
            conditions[i].spans.end(end);
        }
        lanes.push_back({printable(triggers.condition(i).name()), triggers.counts(i).firings,
                         conditions[i].spans.spans()});
    }
    return lanes;
}

} // namespace rksignal
