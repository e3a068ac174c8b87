#include "curve/Curve.h"

#include "curve/PointReduction.h"
#include "definition/RawNumber.h"

#include <algorithm>
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

/// About how many points remain with buckets of 2^shift nanoseconds.
std::size_t remaining(std::span<const CurvePoint> points, unsigned char shift) {
    std::size_t sum = 0;
    std::size_t ofBucket = 0;
    std::uint64_t bucket = 0;
    for (const CurvePoint& point : points) {
        ofBucket = point.time >> shift == bucket ? ofBucket + 1 : 1;
        bucket = point.time >> shift;
        sum += ofBucket <= 4 ? 1U : 0U;
    }
    return sum;
}

/// The narrowest buckets that bring points down to a number of them. It is searched for, not worked out from
/// the time that they span: where clocks were set, most of that time is empty.
unsigned char firstShift(std::span<const CurvePoint> points, std::size_t target) {
    unsigned char low = 0;
    unsigned char high = widestShift;
    while (low < high) {
        const auto middle = static_cast<unsigned char>((low + high) / 2);
        if (remaining(points, middle) > target) {
            low = static_cast<unsigned char>(middle + 1);
        } else {
            high = middle;
        }
    }
    return low;
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
    if (isExtended && isExact && !isQuantity) {
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
    const std::size_t target = maxPoints - maxPoints / 4;
    do {
        shift = isExact ? firstShift(all, target) : static_cast<unsigned char>(shift + 1);
        isExact = false;
        tail = reducePoints(all, mayBeStates(), [this](std::uint64_t time) { return bucketOf(time); });
    } while (all.size() > target && shift < widestShift);
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
        const bool isHeld = !isQuantity || (next != all.cend() && next->value == value);
        if (isHeld && broken.back().time < gap.begin) {
            broken.push_back({gap.begin, value});
        }
        broken.push_back({broken.back().time + hold, noValue});
        if (isHeld && next != all.cend() && next->time > gap.end()) {
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
    const std::uint64_t width = (to - from) / columns + (to - from < ~std::uint64_t{0} ? 1 : 0);
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
