/// \file
/// Packets of cannelloni, version 2 (https://github.com/mguentner/cannelloni, doc/udp_format.md). Numbers are
/// big endian.
///
/// | bytes | head |
/// |---|---|
/// | 1 | version, 2 |
/// | 1 | kind, 0: frames |
/// | 1 | sequence number |
/// | 2 | number of frames |
///
/// | bytes | each frame |
/// |---|---|
/// | 4 | identifier and flags, as in <linux/can.h> |
/// | 1 | length, plus 0x80 for CAN FD |
/// | 1 | CAN FD flags; of CAN FD frames only |
/// | length | data; none of a remote frame |
#pragma once

#include "trace/FrameContent.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace rksignal {

/// Reads a packet frame by frame. Any bytes may be given.
class CannelloniPacket {
  public:
    CannelloniPacket() = default;
    /// `bytes` must outlive the packet. If they are none, there are no frames and malformed() says why.
    explicit CannelloniPacket(std::span<const std::uint8_t> bytes);

    /// Whether it has a head that is understood.
    bool isPacket() const { return hasHead; }
    std::uint8_t sequence() const { return number; } ///< REQUIRES: isPacket()

    /// Whether next() has something to say.
    bool hasMore() const { return left > 0 || (reason != nullptr && !isTold); }
    /// The next frame, which lies in `message`, but for its channel, if it is one of data. REQUIRES:
    /// hasMore() \return nothing if the rest cannot be understood: malformed() says why
    std::optional<FrameContent> next(CANExtTraceMessage& message);

    const char* malformed() const { return reason; } ///< a text with static lifetime, or null

  private:
    std::nullopt_t fail(const char* why);

    std::span<const std::uint8_t> rest;
    std::size_t left = 0; ///< frames announced and not given
    std::uint8_t number = 0;
    bool hasHead = false;
    bool isTold = false;
    const char* reason = nullptr;
};

} // namespace rksignal
