/// \file
/// SOME/IP messages in a stream of bytes.
#pragma once

#include "ethernet/SomeIpHeader.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace rksignal {

/// Gets each message with its data, of which at least the first `maxSignalBytes` are there.
using SomeIpVisitor = std::function<void(const SomeIpHeader& header, ByteView data)>;

/// Finds the messages in a stream that comes in pieces: AUTOSAR PRS_SOMEIPProtocol, 4.2.1.3.
///
/// One message follows the other, the magic cookies among them. Where no plausible header follows, or a part
/// of the stream is missing, the stream is out of step: it goes on with the next message in a piece
/// that is followed by a plausible header, or by the end of the piece, or else with the first plausible
/// header.
class SomeIpStream {
  public:
    /// The stream goes on at the start of a message, or in the middle of one.
    void restart(bool atMessage);

    /// Passes each message that ends in `piece` to `visit`. One that lies in several pieces is copied, the
    /// others are not. \return whether the piece has been in step from its first byte to its last
    bool read(ByteView piece, const SomeIpVisitor& visit);

    /// The message of which the end has not come.
    const std::optional<SomeIpHeader>& pending() const { return header; }
    /// Messages that were put together from several pieces.
    std::uint64_t assembled() const { return assembledMessages; }

  private:
    bool readWhole(ByteView& piece, const SomeIpVisitor& visit);
    void readPart(ByteView& piece, const SomeIpVisitor& visit);
    bool takeUpTo(std::uint64_t end, ByteView& piece);

    bool inStep = false;
    std::vector<std::uint8_t> kept;     ///< of the message that has begun: header, and data as far as kept
    std::uint64_t passed = 0;           ///< its bytes that have come
    std::optional<SomeIpHeader> header; ///< when that has come
    std::uint64_t assembledMessages = 0;
};

} // namespace rksignal
