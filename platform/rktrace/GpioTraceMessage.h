/// \file
/// The state of digital inputs as the logger records it.
#pragma once

#include "rkutil/Export.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <vector>

/// The state of one digital input.
struct gpioElement_t {
    std::uint16_t input = 0;            ///< number of the input on its module
    alignas(8) std::uint16_t value = 0; ///< levels
    std::uint16_t mask = 0;             ///< bits of `value` that are meant
};

static_assert(offsetof(gpioElement_t, input) == 0);
static_assert(offsetof(gpioElement_t, value) == 8);
static_assert(offsetof(gpioElement_t, mask) == 10);

/// What the digital inputs of a module were at one time. A plain value.
struct RK_EXPORT GpioTraceMessage {
    std::uint64_t timestamp = 0; ///< nanoseconds since 1970-01-01 00:00 UTC
    std::vector<gpioElement_t> elements{};
};

/// Writes the message on one line without line end, e.g.
/// `timestamp=1970-01-01 00:00:00.000000001,elements=[input=3,value=0x1,mask=0x1]`. Leaves the stream in
/// decimal mode.
RK_EXPORT std::ostream& operator<<(std::ostream& out, const GpioTraceMessage& message);
