/// \file
/// Writes captures in pcapng form.
#pragma once

#include "convert/TraceWriter.h"

#include <cstdint>
#include <map>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace rksignal {

/// CAN, CAN FD, LIN, FlexRay and Ethernet frames, with an interface for each bus and channel, called `can0`,
/// `lin0`, `flexray0`, `eth0`. Time stamps count nanoseconds. See PacketReader for the layout of packets.
///
/// What messages do not carry is filled in: LIN frames get the checksum that they must have had, CAN FD
/// frames have no flags, and FlexRay frames are of channel A, without the CRC of their head.
class PcapngWriter final : public TraceWriter {
  public:
    using TraceWriter::receive;

    explicit PcapngWriter(const OutputFile& file);

    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void receive(const FlexRayExtTraceMessage& frame) override;
    void receive(const MIITraceMessage& frame) override;
    void receive(const EthernetTraceMessage& frame) override;

  private:
    using Bytes = std::span<const std::uint8_t>;
    struct Link {
        std::uint16_t type; ///< LINKTYPE_...
        std::string_view name;
    };
    static constexpr Link can{227, "can"};
    static constexpr Link lin{212, "lin"};
    static constexpr Link flexRay{210, "flexray"};
    static constexpr Link ethernet{1, "eth"};

    std::uint32_t interfaceOf(const Link& link, std::uint8_t channel);
    void writePacket(const Link& link, std::uint8_t channel, std::uint64_t timestamp, Bytes head, Bytes data);
    void add(std::uint64_t number, int bytes);
    void addPadded(Bytes bytes);
    void writeBlock(std::uint32_t type);

    std::map<std::pair<std::uint16_t, std::uint8_t>, std::uint32_t> interfaces; ///< by link type and channel
    std::vector<std::uint8_t> body;                                             ///< of the block that is made
};

} // namespace rksignal
