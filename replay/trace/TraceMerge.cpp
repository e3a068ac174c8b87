#include "trace/TraceMerge.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace rksignal {

std::uint64_t shifted(std::uint64_t time, std::int64_t shift) {
    const auto distance = static_cast<std::uint64_t>(shift);
    if (shift < 0) {
        return time - std::min(time, 0 - distance);
    }
    return time + std::min(distance, std::numeric_limits<std::uint64_t>::max() - time);
}

void TraceMerge::add(std::unique_ptr<TraceSource> source, std::int64_t shift) {
    inputs.push_back({std::move(source), shift, 0, 0});
}

bool TraceMerge::next() {
    if (!std::exchange(isStarted, true)) {
        for (std::size_t input = 0; input < inputs.size(); ++input) {
            if (advance(input)) {
                wait(input);
            }
        }
        return takeEarliest();
    }
    if (current == none || !advance(current)) {
        return takeEarliest();
    }
    if (!waiting.empty() && isLater(current, waiting.front())) {
        wait(current);
        takeEarliest();
    }
    return true;
}

/// Reads the next message of a trace. \return whether there is one
bool TraceMerge::advance(std::size_t input) {
    Input& trace = inputs[input];
    if (!trace.source->next()) {
        trace.source->conclude();
        return false;
    }
    trace.time = shifted(trace.source->timestamp(), trace.shift);
    trace.turn = std::max(trace.turn, trace.time);
    return true;
}

bool TraceMerge::isLater(std::size_t left, std::size_t right) const {
    return inputs[left].turn != inputs[right].turn ? inputs[left].turn > inputs[right].turn : left > right;
}

/// Makes the earliest of the waiting traces the current one. \return whether there is one
bool TraceMerge::takeEarliest() {
    current = none;
    if (waiting.empty()) {
        return false;
    }
    std::pop_heap(waiting.begin(), waiting.end(), [this](auto a, auto b) { return isLater(a, b); });
    current = waiting.back();
    waiting.pop_back();
    return true;
}

void TraceMerge::wait(std::size_t input) {
    waiting.push_back(input);
    std::push_heap(waiting.begin(), waiting.end(), [this](auto a, auto b) { return isLater(a, b); });
}

} // namespace rksignal
