/// \file
/// Puts the points of a curve that lie in one bucket of time together.
///
/// Of a bucket remain the first, the least, the greatest and the last point, with their times: M4 (Jugel,
/// Jerzak, Hackenbroich, Markl: "M4: A Visualization-Oriented Time Series Data Aggregation", VLDB 2014). The
/// line through these has the same pixels as the line through all, where a bucket is a column of pixels. The
/// M4 of several buckets together follows from those of each, so buckets can be made wider again and again.
#pragma once

#include "curve/Curve.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

namespace rksignal {

/// The least and the greatest of some points, by index; breaks do not count. The earliest one of equals.
struct Extremes {
    explicit Extremes(std::span<const CurvePoint> points) {
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double value = points[i].value;
            if (std::isnan(points[least].value) || value < points[least].value) {
                least = i;
            }
            if (std::isnan(points[greatest].value) || value > points[greatest].value) {
                greatest = i;
            }
        }
    }

    std::size_t least = 0;
    std::size_t greatest = 0;
};

/// Moves the points that remain of a bucket to its front. Of states these are also the first points of up to
/// Curve::mostStates different ones. \return their number
inline std::size_t reduceBucket(std::span<CurvePoint> bucket, bool isOfStates) {
    const Extremes extremes(bucket);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < bucket.size(); ++i) {
        const CurvePoint point = bucket[i];
        const bool isNewState = isOfStates && kept < Curve::mostStates && !std::isnan(point.value) &&
                                std::ranges::find(bucket.first(kept), point.value, &CurvePoint::value) ==
                                    bucket.begin() + static_cast<std::ptrdiff_t>(kept);
        if (i == 0 || i + 1 == bucket.size() || i == extremes.least || i == extremes.greatest || isNewState) {
            bucket[kept++] = point;
        }
    }
    return kept;
}

/// Reduces each bucket of points that are in the order of time. `bucketOf` gives the number of a time's.
/// \return the index of the last bucket's first point
template <class BucketOf>
std::size_t reducePoints(std::vector<CurvePoint>& points, bool isOfStates, BucketOf&& bucketOf) {
    std::size_t kept = 0;
    std::size_t last = 0;
    for (std::size_t begin = 0; begin < points.size();) {
        const auto bucket = bucketOf(points[begin].time);
        std::size_t end = begin + 1;
        while (end < points.size() && bucketOf(points[end].time) == bucket) {
            ++end;
        }
        const std::span<CurvePoint> all = std::span(points).subspan(begin, end - begin);
        const std::size_t remaining = reduceBucket(all, isOfStates);
        std::ranges::copy(all.first(remaining), points.begin() + static_cast<std::ptrdiff_t>(kept));
        last = kept;
        kept += remaining;
        begin = end;
    }
    points.resize(kept);
    return last;
}

} // namespace rksignal
