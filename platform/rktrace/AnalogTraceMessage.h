/// \file
/// The measurements of analog inputs as the logger records them.
#pragma once

#include "rkutil/Export.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <vector>

/// One measurement: `mantissa` times 10 to the power `exponent`, in the unit that the input is configured
/// for.
struct analogElement_t {
    std::uint16_t input = 0; ///< number of the input on its module
    alignas(8) std::int32_t mantissa = 0;
    std::int8_t exponent = 0;
};

static_assert(offsetof(analogElement_t, input) == 0);
static_assert(offsetof(analogElement_t, mantissa) == 8);
static_assert(offsetof(analogElement_t, exponent) == 12);

/// What the analog inputs of a module measured at one time. A plain value.
struct RK_EXPORT AnalogTraceMessage {
    std::uint64_t timestamp = 0; ///< nanoseconds since 1970-01-01 00:00 UTC
    std::vector<analogElement_t> elements{};
};

/// Writes the message on one line without line end, e.g.
/// `timestamp=1970-01-01 00:00:00.000000001,elements=[input=3,value=-125e-2]`. Leaves the stream in decimal
/// mode.
RK_EXPORT std::ostream& operator<<(std::ostream& out, const AnalogTraceMessage& message);
