#include "condition/SignalRange.h"

#include "signal/BitField.h"

#include <cmath>

namespace rksignal {
namespace {

/// How the bits of an IEEE 754 number are laid out: `sign` on top, then magnitudes up to infinity.
struct FloatBits {
    std::uint64_t sign;
    std::uint64_t infinity;

    /// The bits of the number that `rank` others are less than, from minus infinity.
    std::uint64_t at(std::uint64_t rank) const {
        return rank <= infinity ? sign | (infinity - rank) : rank - infinity - 1;
    }
    std::uint64_t lastRank() const { return 2 * infinity + 1; }
};

constexpr FloatBits single{0x80000000, 0x7F800000};
constexpr FloatBits twofold{0x8000000000000000, 0x7FF0000000000000};

} // namespace

SignalRange::SignalRange(const BaseSignal& signal) : probe(signal.def, /*shmem=*/false, &storage) {}

bool SignalRange::isFinite() const {
    return std::isfinite(probe.def.scale) && std::isfinite(probe.def.offset);
}

Interval SignalRange::interval() {
    if (!isFinite()) {
        return {};
    }
    if (probe.def.scale == 0) { // for infinite floats too the only value that is known
        return Interval::of(probe.def.offset);
    }
    return {valueAt(0), valueAt(lastRank())};
}

Interval SignalRange::around(double number) {
    if (probe.def.scale == 0) {
        return interval();
    }
    const std::uint64_t rank = firstNotBelow(number);
    const double above = valueAt(rank);
    return {above == number ? above : valueAt(rank - 1), above};
}

std::optional<std::uint64_t> SignalRange::rawOf(double number) {
    if (probe.def.scale == 0) {
        return std::nullopt;
    }
    const std::uint64_t rank = firstNotBelow(number);
    const bool isMet = valueAt(rank) == number;
    const bool isMetAgain = isMet && rank < lastRank() && valueAt(rank + 1) == number;
    return isMet && !isMetAgain ? std::optional(rawAt(rank)) : std::nullopt;
}

std::uint64_t SignalRange::lastRank() const {
    switch (probe.def.type) {
    case signalValue_t::Float:
        return single.lastRank();
    case signalValue_t::Double:
        return twofold.lastRank();
    default:
        return probe.d_maksBits;
    }
}

/// The raw value that gives the value of this rank: 0 the least, lastRank() the greatest.
std::uint64_t SignalRange::rawAt(std::uint64_t rank) const {
    const std::uint64_t position = probe.def.scale < 0 ? lastRank() - rank : rank;
    switch (probe.def.type) {
    case signalValue_t::Float:
        return single.at(position);
    case signalValue_t::Double:
        return twofold.at(position);
    case signalValue_t::Signed:
        return bitfield::signExtended((position ^ probe.d_signBit) & probe.d_maksBits, probe.d_maksBits,
                                      probe.d_signBit);
    default:
        return position;
    }
}

double SignalRange::valueAt(std::uint64_t rank) {
    return valueOf(rawAt(rank));
}

double SignalRange::valueOf(std::uint64_t raw) {
    probe.slot->raw = raw;
    return probe.physical();
}

/// The rank of the least value that is not less than `number`.
std::uint64_t SignalRange::firstNotBelow(double number) {
    std::uint64_t low = 0;
    std::uint64_t high = lastRank();
    while (low < high) {
        const std::uint64_t middle = low + (high - low) / 2;
        if (valueAt(middle) < number) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

} // namespace rksignal
