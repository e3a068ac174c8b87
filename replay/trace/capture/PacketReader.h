/// \file
/// Makes the packets of a capture messages of the bus that they come from.
///
/// | link type | content |
/// |---|---|
/// | Ethernet (1) | frames from the destination address on |
/// | CAN (227) | classic, CAN FD and CAN XL frames as SocketCAN has them, the identifier big endian |
/// | Linux cooked (113, 276) | the same behind a head of 16 or 20 bytes, the identifier in the recorder's
/// byte order | | LIN (212) | frames with their checksum and error bits | | FlexRay (210) | frames with their
/// head and error bits, symbols |
///
/// The layouts are those of https://www.tcpdump.org/linktypes.html.
#pragma once

#include "rktrace/CANExtTraceMessage.h"
#include "rktrace/FlexRayExtTraceMessage.h"
#include "rktrace/LINTraceMessage.h"
#include "rktrace/MIITraceMessage.h"
#include "trace/MessageSink.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

namespace rksignal {

class PacketReader {
  public:
    using Bytes = std::span<const std::uint8_t>;
    /// A message, which belongs to the reader and is good until the next packet; its time is not set.
    using Content = std::variant<PassedMessage, CANExtTraceMessage*, LINTraceMessage*,
                                 FlexRayExtTraceMessage*, MIITraceMessage*>;

    struct Link; ///< how packets of a link type are read

    /// \return null if packets of this type are not supported
    static const Link* find(int linkType);
    /// `can`, `lin`, `flexray` or `eth`: whose packets they are, as interfaces are called.
    static std::string_view busOf(const Link& link);

    /// Reads a packet that was recorded in full. Any bytes may be given. Messages get this channel; those of
    /// FlexRay channel B the next one. `isBigEndian`: the byte order of the machine that recorded it.
    /// Allocates only when a message grows.
    /// \return nothing if it cannot be understood: malformed() says why
    std::optional<Content> read(const Link& link, std::uint8_t channel, bool isBigEndian, Bytes packet);

    const char* malformed() const { return reason; }    ///< a text with static lifetime
    std::uint64_t dropped() const { return overflows; } ///< frames that the recorder says it lost, at least

  private:
    using Layer = std::optional<Content> (PacketReader::*)(Bytes packet);
    static const Link links[];

    std::optional<Content> readEthernet(Bytes packet);
    std::optional<Content> readCan(Bytes packet);
    template <std::size_t headLength, std::size_t protocolAt>
    std::optional<Content> readCooked(Bytes packet);
    std::optional<Content> readCanFrame(std::uint32_t id, Bytes packet);
    std::optional<Content> readLin(Bytes packet);
    std::optional<Content> readFlexRay(Bytes packet);
    std::optional<Content> fail(const char* why);

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
