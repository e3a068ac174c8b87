#include "page/CurveBytes.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace rksignal {
namespace {

void appendLeb128(std::uint64_t number, std::string& bytes) {
    for (; number >= 0x80; number >>= 7U) {
        bytes += static_cast<char>((number & 0x7FU) | 0x80U);
    }
    bytes += static_cast<char>(number);
}

void appendTimes(std::span<const CurvePoint> points, std::uint64_t start, std::string& bytes) {
    std::uint64_t before = 0;
    for (const CurvePoint& point : points) {
        const std::uint64_t time = (point.time - start) / 1000;
        appendLeb128(time - before, bytes);
        before = time;
    }
}

void appendBreaks(std::span<const CurvePoint> points, std::string& bytes) {
    const std::size_t begin = bytes.size();
    bytes.resize(begin + (points.size() + 7) / 8);
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (std::isnan(points[i].value)) {
            char& byte = bytes[begin + i / 8];
            byte = static_cast<char>(static_cast<unsigned char>(byte) | 1U << i % 8);
        }
    }
}

void appendDifferences(std::span<const CurvePoint> points, std::string& bytes) {
    std::int64_t before = 0;
    for (const CurvePoint& point : points) {
        if (!std::isnan(point.value)) {
            const auto value = static_cast<std::int64_t>(point.value);
            const std::int64_t difference = value - before;
            const auto magnitude = static_cast<std::uint64_t>(std::abs(difference));
            appendLeb128(difference < 0 ? 2 * magnitude - 1 : 2 * magnitude, bytes);
            before = value;
        }
    }
}

void appendDoubles(std::span<const CurvePoint> points, std::string& bytes) {
    for (const CurvePoint& point : points) {
        const auto bits = std::bit_cast<std::uint64_t>(point.value);
        for (unsigned shift = 0; shift < 64; shift += 8) {
            bytes += static_cast<char>(bits >> shift & 0xFFU);
        }
    }
}

/// Whether the value is an integer, and twice the difference of two such is below 2^53.
bool isSmallInteger(const CurvePoint& point) {
    constexpr double limit = 0x1p51;
    return std::isnan(point.value) ||
           (std::fabs(point.value) < limit && std::trunc(point.value) == point.value);
}

} // namespace

PackedValues packCurve(std::span<const CurvePoint> points, std::uint64_t start, std::string& bytes) {
    appendTimes(points, start, bytes);
    if (std::ranges::all_of(points, isSmallInteger)) {
        appendBreaks(points, bytes);
        appendDifferences(points, bytes);
        return PackedValues::Differences;
    }
    appendDoubles(points, bytes);
    return PackedValues::Doubles;
}

} // namespace rksignal
