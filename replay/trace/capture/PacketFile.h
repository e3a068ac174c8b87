/// \file
/// Capture files: pcap (https://www.ietf.org/archive/id/draft-ietf-opsawg-pcap-05.html) and pcapng
/// (https://www.ietf.org/archive/id/draft-ietf-opsawg-pcapng-03.html).
#pragma once

#include "file/ByteWindow.h"
#include "trace/capture/PacketTime.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// Where packets of a capture come from.
struct PacketInterface {
    int linkType = 0;             ///< a number `LINKTYPE_...` of https://www.tcpdump.org/linktypes.html
    bool isBigEndian = false;     ///< the byte order of the machine that recorded it
    std::size_t index = 0;        ///< in its section of the file, from 0
    std::string name;             ///< such as `can0`; empty if the file does not tell it, here and below
    std::string comment;          ///< its comments and its description, with `; ` in between
    std::uint64_t dropped = 0;    ///< packets that it says it lost
    std::uint32_t snapLength = 0; ///< bytes recorded of a packet at most; 0: all
    TickUnit unit;
};

/// The packets of a capture file or pipe, in both byte orders. A pcapng file may have any number of sections
/// and interfaces (up to 1,024 in all); a pcap file has one interface.
///
/// Memory is constant: a block of more than 16 MiB, and a packet of more than 256 KiB in a pcap file, ends
/// the file.
class PacketFile {
  public:
    using Bytes = std::span<const std::uint8_t>;

    /// Waits for the head of the file. `file` must outlive the object.
    /// \throws Error if it is no capture, or if reading fails; the text names the file
    explicit PacketFile(InputFile& file);

    /// Goes on to the next packet. \return false at the end, and where the file cannot be understood any
    /// further: then failure() says why \throws Error if reading fails
    bool next() { return isBlocks ? nextOfBlocks() : nextRecord(); }

    /// Number of the packet, from 1. REQUIRES here and below: next() returned true.
    std::uint64_t number() const { return count; }
    /// Nanoseconds since 1970-01-01 UTC; nothing if the packet has none, or one that cannot be written so.
    std::optional<std::uint64_t> timestamp() const { return time; }
    /// What was recorded of the packet; good until the next one.
    Bytes bytes() const { return packet; }
    /// Whether that is all of it.
    bool isWhole() const { return packet.size() >= originalLength; }
    /// Its index in interfaces().
    std::size_t interface() const { return source; }

    /// All that the file has named so far, in its order.
    const std::vector<PacketInterface>& interfaces() const { return sources; }
    std::uint64_t packets() const { return count; } ///< read so far
    const std::string& failure() const { return reason; }

  private:
    enum class Block { Packet, Other, Bad };

    std::uint16_t word16(const std::uint8_t* at) const;
    std::uint32_t word32(const std::uint8_t* at) const;
    bool fail(std::string_view text);

    void readHead();
    bool nextRecord();
    bool nextOfBlocks();
    Block readBlock(std::uint32_t type, Bytes body);
    bool startSection(Bytes head);
    Block readSection(Bytes body);
    Block addInterface(Bytes body);
    Block readPacket(std::size_t interface, std::uint64_t ticks, Bytes lengths);
    Block readSimplePacket(Bytes body);
    Block readStatistics(Bytes body);
    template <class Use>
    void forEachOption(Bytes options, Use&& use) const;

    InputFile& file;
    ByteWindow window;
    bool isBlocks = false;    ///< pcapng
    bool isBigEndian = false; ///< the section, or the file
    std::vector<PacketInterface> sources;
    std::size_t sectionStart = 0; ///< its first interface in `sources`

    std::uint64_t count = 0;
    std::optional<std::uint64_t> time;
    Bytes packet;
    std::size_t originalLength = 0;
    std::size_t source = 0;
    std::string reason;
};

} // namespace rksignal
