#include "serve/RecentCurves.h"

#include "definition/RawNumber.h"

#include <algorithm>

namespace rksignal {
namespace {

constexpr std::size_t mostPoints = 16'384;             ///< of a curve
constexpr std::uint64_t curveDisorder = 1'000'000'000; ///< what goes back further is a clock that was set

std::size_t pointsOfEach(std::size_t signals, std::size_t memory) {
    const std::size_t share = memory / (2 * sizeof(CurvePoint) * std::max<std::size_t>(signals, 1));
    return std::clamp(share, Curve::fewestPoints, mostPoints);
}

} // namespace

RecentCurves::RecentCurves(const Catalog& catalog, std::uint64_t span, std::size_t memory)
    : catalog(catalog), span(span), maxPoints(pointsOfEach(catalog.signals().size(), memory)) {
    for (const auto& signal : catalog.signals()) {
        courses.push_back({Curve(signal->def, maxPoints), Curve(signal->def, maxPoints)});
    }
}

void RecentCurves::reached(std::uint64_t timestamp) {
    if (timestamp + curveDisorder < now) {
        forget();
    }
    now = std::max(now, timestamp);
    if (started == 0) {
        started = now;
    } else if (now - started >= span) {
        turn();
    }
}

/// What was current becomes the former, and is gone on with.
void RecentCurves::turn() {
    for (Course& course : courses) {
        const double last = course.current.last();
        const std::uint64_t time = course.current.lastTime();
        course.former = std::move(course.current);
        course.current = Curve(course.former.definition(), maxPoints);
        if (course.hasValue) {
            course.current.add(time, last);
        }
    }
    started = now;
}

void RecentCurves::forget() {
    for (Course& course : courses) {
        course.former = Curve(course.former.definition(), maxPoints);
        course.current = Curve(course.current.definition(), maxPoints);
        course.hasValue = false;
    }
    started = now = 0;
}

void RecentCurves::written(const MessageInfo& message, std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        const std::size_t index = catalog.indexOf(id);
        BaseSignal& signal = *catalog.signals()[index];
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (signal.read(raw, timestamp)) {
            courses[index].current.add(message.timestamp, numberOfRaw(signal.def.type, raw));
            courses[index].hasValue = true;
        }
    }
}

void RecentCurves::withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        Course& course = courses[catalog.indexOf(id)];
        course.current.breakOff(message.timestamp);
        course.hasValue = false;
    }
}

std::vector<CurvePoint> RecentCurves::points(std::size_t signal, std::uint64_t from,
                                             std::size_t columns) const {
    const Course& course = courses[signal];
    const std::uint64_t to = std::max(from, now);
    std::vector<CurvePoint> all = course.former.reduced(from, to, columns);
    for (const CurvePoint& point : course.current.reduced(from, to, columns)) {
        if (all.empty() || !(all.back() == point)) {
            all.push_back(point);
        }
    }
    return all;
}

} // namespace rksignal
