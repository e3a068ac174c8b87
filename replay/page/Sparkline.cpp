#include "page/Sparkline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace rksignal {
namespace {

struct SparkRange {
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();

    bool isEmpty() const { return !(low <= high); }
    void add(double value) {
        if (std::isfinite(value)) {
            low = std::min(low, value);
            high = std::max(high, value);
        }
    }
};

class SparkColumns {
  public:
    SparkColumns(std::uint64_t from, std::uint64_t to)
        : from(from), width(static_cast<double>(to - from) / static_cast<double>(sparkColumns)) {}

    void add(const CurvePoint& point) { ranges[columnOf(point.time)].add(point.value); }

    /// The value at the edges of columns between two points.
    void addBetween(const CurvePoint& left, const CurvePoint& right, bool interpolates) {
        const std::size_t end = columnOf(right.time);
        for (std::size_t column = columnOf(left.time) + 1; column <= end; ++column) {
            double value = left.value;
            if (interpolates && std::isfinite(right.value)) {
                const double edge =
                    static_cast<double>(column) * width - static_cast<double>(left.time - from);
                const double part = edge / static_cast<double>(right.time - left.time);
                value = left.value * (1 - part) + right.value * part;
            }
            ranges[column - 1].add(value);
            ranges[column].add(value);
        }
    }

    std::array<SparkRange, sparkColumns> ranges;

  private:
    std::size_t columnOf(std::uint64_t time) const {
        if (time <= from || !(width > 0)) {
            return 0;
        }
        const double column = static_cast<double>(time - from) / width;
        return std::min(static_cast<std::size_t>(std::min(column, double{sparkColumns})), sparkColumns - 1);
    }

    std::uint64_t from;
    double width; ///< nanoseconds
};

std::optional<std::uint8_t> levelOf(double value, const SparkRange& all) {
    // by halves, as the difference of two doubles may be infinite
    const double part = (value / 2 - all.low / 2) / (all.high / 2 - all.low / 2);
    return static_cast<std::uint8_t>(std::lround(255 * std::clamp(part, 0.0, 1.0)));
}

} // namespace

std::vector<std::optional<std::uint8_t>> sparkline(std::span<const CurvePoint> points, std::uint64_t from,
                                                   std::uint64_t to, bool interpolates) {
    SparkColumns columns(from, to);
    SparkRange all;
    for (std::size_t i = 0; i < points.size(); ++i) {
        all.add(points[i].value);
        if (i > 0) {
            columns.addBetween(points[i - 1], points[i], interpolates);
        }
        columns.add(points[i]);
    }
    if (all.isEmpty() || !(all.low / 2 < all.high / 2)) {
        return {};
    }
    std::vector<std::optional<std::uint8_t>> levels;
    for (const SparkRange& range : columns.ranges) {
        levels.push_back(range.isEmpty() ? std::nullopt : levelOf(range.low, all));
        levels.push_back(range.isEmpty() ? std::nullopt : levelOf(range.high, all));
    }
    return levels;
}

} // namespace rksignal
