/// \file
/// The curves of the last minutes, of all signals, in bounded memory.
#pragma once

#include "catalog/Catalog.h"
#include "curve/Curve.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace rksignal {

/// Keeps the values of at least the last `span` nanoseconds: of each signal two curves, of which one is being
/// recorded, and the other one, which ended when that began, is dropped when it has lasted as long. So up to
/// twice the span is there. Where the memory is not enough for all changes, curves get coarser, and lose no
/// spike.
///
/// For one thread at a time. A value costs some nanoseconds, and allocates only where a curve grows.
class RecentCurves final : public ValueSink {
  public:
    /// `memory` bytes for the points of all curves, but Curve::fewestPoints for each in any case. The catalog
    /// must outlive the object.
    RecentCurves(const Catalog& catalog, std::uint64_t span, std::size_t memory);

    void reached(std::uint64_t timestamp) override;
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) override;

    /// What a picture of the time from `from` to now needs, that has so many columns, as Curve::reduced().
    std::vector<CurvePoint> points(std::size_t signal, std::uint64_t from, std::size_t columns) const;

  private:
    struct Course {
        Curve former;
        Curve current;
        bool hasValue = false; ///< at this moment
    };

    void turn();
    void forget();

    const Catalog& catalog;
    std::uint64_t span;
    std::size_t maxPoints;
    std::vector<Course> courses; ///< by signal
    std::uint64_t started = 0;   ///< when the current curves began
    std::uint64_t now = 0;
};

} // namespace rksignal
