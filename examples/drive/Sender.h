/// \file
/// What the control units of the demo's car send, and how often.
///
/// The layouts stand as `Field` tables at the head of the two sources. They are written out there a second
/// time on purpose: drive.dbc and body.dbc describe the same frames independently, as a car and its
/// documentation are independent, and a test compares the two by what comes out.
#pragma once

#include "Frame.h"
#include "VehicleModel.h"

#include <cstdint>
#include <span>

namespace drive {

/// A frame that is sent periodically.
struct Sender {
    std::uint32_t id;
    FrameKind kind;
    bool extended;
    std::uint8_t length;
    unsigned period; ///< ms, a multiple of 10
    unsigned phase;  ///< ms, a multiple of 10
    /// Fills in the frame's data for the `n`th transmission, counted from 0; may shorten the frame.
    /// \return whether it is sent at all
    bool (*fill)(Frame& frame, const VehicleState& car, std::uint64_t n);
};

std::span<const Sender> powertrainSenders(); ///< on bus 0, described by drive.dbc
std::span<const Sender> bodySenders();       ///< on bus 1, described by body.dbc

} // namespace drive
