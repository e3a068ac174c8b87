/// \file
/// The values that a signal can have, given its width, type, scale and offset.
#pragma once

#include "condition/Interval.h"
#include "signal/BaseSignal.h"

#include <cstdint>
#include <optional>

namespace rksignal {

/// Computes the physical values of raw values as the signal itself does, to the last bit.
class SignalRange {
  public:
    explicit SignalRange(const BaseSignal& signal);

    /// From the least value that a frame can carry to the greatest; a float can be infinite. Everything, if
    /// scale or offset is not finite.
    Interval interval();

    /// The values on both sides of `number` that come closest: it itself, twice, if a raw value stands for
    /// it. Takes at most 64 steps.
    /// REQUIRES: interval() is not everything for lack of a finite scale, and holds `number`
    Interval around(double number);

    /// The raw value that stands for `number`, if there is exactly one. REQUIRES: as around()
    std::optional<std::uint64_t> rawOf(double number);

    double valueOf(std::uint64_t raw);

    bool isFinite() const; ///< scale and offset are

  private:
    std::uint64_t lastRank() const;
    std::uint64_t rawAt(std::uint64_t rank) const;
    double valueAt(std::uint64_t rank);
    std::uint64_t firstNotBelow(double number);

    SignalStorage storage;
    BaseSignal probe; ///< holds the raw value that is asked for
};

} // namespace rksignal
