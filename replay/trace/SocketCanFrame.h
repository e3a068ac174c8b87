/// \file
/// Frames as SocketCAN lays them out: identifier and flags (4 bytes), length, CAN FD flags, two more bytes,
/// data (`struct can_frame`, `canfd_frame`, `canxl_frame` of <linux/can.h>).
#pragma once

#include "trace/FrameContent.h"

#include <cstdint>
#include <optional>
#include <span>

namespace rksignal {

/// Makes such a frame a message. Any bytes may be given.
/// \param id its first four bytes, whose order differs from one place to another
/// \param message becomes the frame, if it is one of data; its channel is left alone
/// \param reason is set, to a text with static lifetime, if nothing is returned
std::optional<FrameContent> readSocketCanFrame(std::uint32_t id, bool isFd,
                                               std::span<const std::uint8_t> bytes,
                                               CANExtTraceMessage& message, const char*& reason);

} // namespace rksignal
