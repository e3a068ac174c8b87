/// \file
/// The values of a signal over time, in bounded memory.
#pragma once

#include "signal/SignalDefinition.h"
#include "survey/Gaps.h"
#include "text/Export.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace rksignal {

/// A value of a curve. It holds up to the time of the next point (Step, States), or a straight line leads
/// from one to the next (Line).
struct CurvePoint {
    std::uint64_t time = 0; ///< nanoseconds since 1970-01-01 UTC
    /// The number that the raw word stands for: physical = value * scale + offset of the definition. Not a
    /// number (NaN): a break, from here on there is no value.
    double value = 0;

    friend bool operator==(const CurvePoint&, const CurvePoint&) = default;
};

/// How a curve is drawn.
enum class CurveKind : std::uint8_t {
    Empty,    ///< no value
    Constant, ///< all values are equal
    Line,     ///< a quantity: lines from point to point
    Step,     ///< bits, integers without unit and scale: held up to the next point
    States,   ///< values that have texts: bands
};

/// The values of one signal over time.
///
/// A curve holds at most as many points as it is told. As long as they are enough, they are all changes of
/// the value: resolution() is 0. Equal values in a row are two points, the first and the last of them; of
/// Step only the last value of all has the second. Then time is divided into buckets, of which each keeps its
/// first, least, greatest and last point (M4, see curve/PointReduction.h), so that no spike is lost; whenever
/// these are too many, buckets become twice as wide. Of values with texts, a bucket keeps the first point of
/// each of up to `mostStates` values.
///
/// Takes 16 bytes a point; grows by doubling, and never beyond the limit. A value costs some nanoseconds, and
/// allocates only where the curve grows. For one thread; const members may be called by several.
class RKREPLAY_EXPORT Curve {
  public:
    static constexpr std::size_t fewestPoints = 128; ///< the least limit
    static constexpr std::size_t mostStates = 32;

    /// `signal` must outlive the curve. Fewer than `fewestPoints` count as these.
    Curve(const baseSignalDef_t& signal, std::size_t maxPoints);

    /// Adds a value: the number of a raw word, see numberOfRaw(). A time that is earlier than the one before
    /// counts as that one. A value that is not finite is a break.
    void add(std::uint64_t time, double value);
    /// From this time on there is no value, up to the next one.
    void breakOff(std::uint64_t time);
    /// Adds a break to each gap: `hold` nanoseconds after its begin, of a line that leads from a value before
    /// to another one behind it, after the one before. What is held goes on behind the gap. A gap that has
    /// points, or is shorter than the resolution or `hold`, gets none. To be called behind the last value;
    /// the points may become more than the limit, by three a gap. REQUIRES: the gaps are in the order of
    /// time.
    void breakAt(std::span<const Gap> gaps, std::uint64_t hold);
    /// Gives memory back, at the cost of the resolution.
    void limit(std::size_t maxPoints);

    CurveKind kind() const;
    const baseSignalDef_t& definition() const { return *signal; }
    std::uint64_t count() const { return values; }      ///< of values
    std::uint64_t notFinite() const { return strange; } ///< of those, infinite ones and such as are no number
    std::uint64_t changes() const { return differences; } ///< of values that differ from the one before
    /// Of finite values. REQUIRES: kind() is not Empty.
    double minimum() const { return least; }
    double maximum() const { return greatest; }
    double last() const { return latestValue; }
    std::uint64_t firstTime() const { return earliest; } ///< of values, also such as are not finite
    std::uint64_t lastTime() const { return latest; }    ///< of values, also such as are not finite

    /// Nanoseconds: times with the same quotient by it lie in one bucket. 0: each change is there.
    std::uint64_t resolution() const { return isExact ? 0 : std::uint64_t{1} << shift; }
    /// In the order of time. Neither the first nor one after a break is a break.
    std::span<const CurvePoint> points() const { return all; }
    /// For a picture of the time from `from` to `to`, both included, that has so many columns: of each column
    /// what remains of a bucket, so at most 4 points, of States `mostStates` + 3. Before these the last point
    /// before `from`, behind them the first one after `to`, if there are such. Takes time in proportion to
    /// the points between. REQUIRES: from <= to, columns > 0.
    std::vector<CurvePoint> reduced(std::uint64_t from, std::uint64_t to, std::size_t columns) const;

    /// The number of points for which there is memory.
    std::size_t capacity() const { return all.capacity(); }

  private:
    static constexpr std::size_t mostDistinct = 64;

    bool mayBeStates() const { return hasTexts && distinct.size() <= mostDistinct; }
    bool isOfStates() const;
    std::uint64_t bucketOf(std::uint64_t time) const { return time >> shift; }
    void change(std::uint64_t time, double value);
    void extend(std::uint64_t time);
    void note(double value);
    void push(const CurvePoint& point);
    void pushIntoTail(const CurvePoint& point);
    void makeRoom();
    void coarsen();

    const baseSignalDef_t* signal;
    std::vector<CurvePoint> all;
    double latestValue = 0; ///< the last finite one
    std::uint64_t latest = 0;
    std::uint64_t values = 0;
    std::size_t tail = 0;    ///< index of the last bucket's first point
    unsigned char shift = 0; ///< a bucket is 2^shift nanoseconds wide
    bool isExact = true;     ///< there are no buckets yet
    bool isOpen = false;     ///< there is a value now
    bool isExtended = false; ///< the last point is the end of a run of equal values, and moves with it
    bool isQuantity;
    bool hasTexts;
    std::size_t maxPoints;
    std::uint64_t earliest = 0;
    std::uint64_t differences = 0;
    std::uint64_t strange = 0;
    double least = 0;
    double greatest = 0;
    std::vector<double>
        distinct; ///< the values seen, sorted, of those with texts; one too many: there are more
};

} // namespace rksignal
