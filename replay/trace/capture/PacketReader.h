/// \file
/// Makes the packets of a capture messages of the bus that they come from.
///
/// | link type | content |
/// |---|---|
/// | Ethernet (1) | frames from the destination address on |
/// | CAN (227) | classic, CAN FD and CAN XL frames as SocketCAN has them, the identifier big endian |
/// | Linux cooked (113, 276) | the same behind 16 or 20 bytes; identifiers in the recorder's byte order |
/// | LIN (212) | frames with their checksum and error bits |
/// | FlexRay (210) | frames with their head and error bits, symbols |
///
/// The layouts are those of https://www.tcpdump.org/linktypes.html.
#pragma once

#include "trace/FrameContent.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace rksignal {

class PacketReader {
  public:
    using Bytes = std::span<const std::uint8_t>;

    struct Link; ///< how packets of a link type are read

    /// \return null if packets of this type are not supported
    static const Link* find(int linkType);
    /// `can`, `lin`, `flexray` or `eth`: whose packets they are, as interfaces are called.
    static std::string_view busOf(const Link& link);

    /// Reads a packet that was recorded in full. Any bytes may be given. Messages get this channel; those of
    /// FlexRay channel B the next one. `isBigEndian`: the byte order of the machine that recorded it.
    /// Allocates only when a message grows.
    /// \return nothing if it cannot be understood: malformed() says why
    std::optional<FrameContent> read(const Link& link, std::uint8_t channel, bool isBigEndian, Bytes packet);

    const char* malformed() const { return reason; }    ///< a text with static lifetime
    std::uint64_t dropped() const { return overflows; } ///< frames that the recorder says it lost, at least

  private:
    using Layer = std::optional<FrameContent> (PacketReader::*)(Bytes packet);
    static const Link links[];

    std::optional<FrameContent> readEthernet(Bytes packet);
    std::optional<FrameContent> readCan(Bytes packet);
    template <std::size_t headLength, std::size_t protocolAt>
    std::optional<FrameContent> readCooked(Bytes packet);
    std::optional<FrameContent> readCanFrame(std::uint32_t id, Bytes packet);
    std::optional<FrameContent> readLin(Bytes packet);
    std::optional<FrameContent> readFlexRay(Bytes packet);
    std::optional<FrameContent> fail(const char* why);

    std::uint8_t channel = 0;     ///< of the packet
    bool isHostBigEndian = false; ///< of the machine that recorded it
    const char* reason = nullptr;
    std::uint64_t overflows = 0;
    CANExtTraceMessage can;
    LINTraceMessage lin;
    FlexRayExtTraceMessage flexRay;
    MIITraceMessage ethernet;
};

} // namespace rksignal
