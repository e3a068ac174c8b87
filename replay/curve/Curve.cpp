#include "curve/Curve.h"

#include "curve/PointReduction.h"
#include "definition/RawNumber.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace rksignal {
namespace {

constexpr double noValue = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t firstCapacity = 16;
constexpr unsigned char widestShift = 63;

/// Whether a value between two others makes sense. As isContinuous(), but whatever texts there are: of
/// quantities some values often mean "not available".
bool measuresQuantity(const baseSignalDef_t& signal) {
    const bool isInteger = signal.type == signalValue_t::Unsigned || signal.type == signalValue_t::Signed;
    const bool isPlain = isInteger && signal.unit.empty() && signal.scale == 1;
    return !isPlain && signal.bits != 1 && signal.unit != "UTC";
}

} // namespace

Curve::Curve(const baseSignalDef_t& signal, std::size_t maxPoints)
    : signal(&signal), isQuantity(measuresQuantity(signal)), hasTexts(!signal.valueDescriptions.empty()),
      maxPoints(std::max(maxPoints, fewestPoints)) {}

void Curve::add(std::uint64_t time, double value) {
    latest = std::max(latest, time);
    if (values++ == 0) {
        earliest = latest;
    }
    if (isOpen && value == latestValue) {
        extend(latest);
    } else if (std::isfinite(value)) {
        change(latest, value);
    } else {
        ++strange;
        breakOff(latest);
    }
}

void Curve::change(std::uint64_t time, double value) {
    const bool isFirst = values == strange + 1;
    differences += !isFirst && value != latestValue ? 1U : 0U;
    least = isFirst ? value : std::min(least, value);
    greatest = isFirst ? value : std::max(greatest, value);
    latestValue = value;
    note(value);
    if (isOpen && isExtended && isExact && !isQuantity) {
        all.back() = {time, value}; // what is held needs no end
    } else {
        push({time, value});
    }
    isOpen = true;
    isExtended = false;
}

/// The value is still the same.
void Curve::extend(std::uint64_t time) {
    const bool isAlone = tail + 1 == all.size();
    if (isExtended && (isExact || isAlone || bucketOf(all.back().time) == bucketOf(time))) {
        all.back().time = time;
    } else {
        push({time, latestValue});
        isExtended = true;
    }
}

void Curve::breakOff(std::uint64_t time) {
    if (isOpen) {
        latest = std::max(latest, time);
        push({latest, noValue});
        isOpen = isExtended = false;
    }
}

/// Remembers which values with texts there were.
void Curve::note(double value) {
    if (mayBeStates()) {
        const auto place = std::ranges::lower_bound(distinct, value);
        if (place == distinct.end() || *place != value) {
            distinct.insert(place, value);
        }
    }
}

void Curve::push(const CurvePoint& point) {
    makeRoom();
    if (!isExact && !all.empty() && bucketOf(all[tail].time) == bucketOf(point.time)) {
        pushIntoTail(point);
    } else {
        tail = all.size();
        all.push_back(point);
    }
}

void Curve::pushIntoTail(const CurvePoint& point) {
    constexpr std::size_t mostOfBucket = 4;
    all.push_back(point);
    const std::span<CurvePoint> bucket = std::span(all).subspan(tail);
    if (mayBeStates() || bucket.size() > mostOfBucket) {
        all.resize(tail + reduceBucket(bucket, mayBeStates()));
    }
}

void Curve::makeRoom() {
    if (all.size() >= maxPoints) {
        coarsen();
    }
    if (all.size() == all.capacity()) {
        all.reserve(std::min(std::max(firstCapacity, 2 * all.capacity()), maxPoints));
    }
}

/// Makes buckets wider until a quarter of the points is free. With the widest there are two buckets, which
/// hold fewer than `fewestPoints`.
void Curve::coarsen() {
    if (isExact) {
        isExact = false;
        const std::uint64_t span = all.back().time - all.front().time;
        shift = static_cast<unsigned char>(std::bit_width(span / maxPoints));
    }
    do {
        shift = std::min<unsigned char>(widestShift, shift + 1);
        tail = reducePoints(all, mayBeStates(), [this](std::uint64_t time) { return bucketOf(time); });
    } while (all.size() > maxPoints - maxPoints / 4 && shift < widestShift);
}

void Curve::limit(std::size_t most) {
    maxPoints = std::max(most, fewestPoints);
    if (all.size() >= maxPoints) {
        coarsen();
    }
    if (all.capacity() > maxPoints) {
        std::vector<CurvePoint> smaller;
        smaller.reserve(maxPoints);
        smaller.assign(all.begin(), all.end());
        all.swap(smaller);
    }
}

void Curve::breakAt(std::span<const Gap> gaps, std::uint64_t hold) {
    std::vector<CurvePoint> broken;
    auto next = all.cbegin();
    for (const Gap& gap : gaps) {
        const auto behind =
            std::upper_bound(next, all.cend(), gap.begin,
                             [](std::uint64_t time, const CurvePoint& point) { return time < point.time; });
        broken.insert(broken.end(), next, behind);
        next = behind;
        const bool hasPoints = next != all.cend() && next->time < gap.end();
        if (hasPoints || broken.empty() || std::isnan(broken.back().value) || gap.length <= hold ||
            gap.length < resolution()) {
            continue;
        }
        const double value = broken.back().value;
        if (broken.back().time < gap.begin) {
            broken.push_back({gap.begin, value});
        }
        broken.push_back({gap.begin + hold, noValue});
        if (next != all.cend() && next->time > gap.end()) {
            broken.push_back({gap.end(), value}); // it goes on as before
        }
    }
    broken.insert(broken.end(), next, all.cend());
    if (broken.size() > all.size()) {
        all = std::move(broken);
    }
}

bool Curve::isOfStates() const {
    if (!mayBeStates()) {
        return false;
    }
    const auto named = static_cast<std::size_t>(std::ranges::count_if(
        distinct, [this](double value) { return textOfNumber(*signal, value) != nullptr; }));
    constexpr std::size_t fewDistinct = 16;
    const std::size_t nameless = distinct.size() - named;
    return nameless == 0 ||
           (!isQuantity && (distinct.size() <= fewDistinct || nameless <= distinct.size() / 8));
}

CurveKind Curve::kind() const {
    if (values == strange) {
        return CurveKind::Empty;
    }
    if (differences == 0) {
        return CurveKind::Constant;
    }
    if (isOfStates()) {
        return CurveKind::States;
    }
    return isQuantity ? CurveKind::Line : CurveKind::Step;
}

std::vector<CurvePoint> Curve::reduced(std::uint64_t from, std::uint64_t to, std::size_t columns) const {
    const auto begin = std::ranges::lower_bound(all, from, {}, &CurvePoint::time);
    const auto end = std::ranges::upper_bound(begin, all.end(), to, {}, &CurvePoint::time);
    std::vector<CurvePoint> picture(begin, end);
    const std::uint64_t width = (to - from) / columns + 1;
    reducePoints(picture, isOfStates(), [&](std::uint64_t time) { return (time - from) / width; });
    if (begin != all.begin()) {
        picture.insert(picture.begin(), *std::prev(begin));
    }
    if (end != all.end()) {
        picture.push_back(*end);
    }
    return picture;
}

} // namespace rksignal
