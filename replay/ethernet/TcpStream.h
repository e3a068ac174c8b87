/// \file
/// One direction of a TCP connection that carries SOME/IP.
#pragma once

#include "ethernet/SomeIpStream.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rksignal {

/// Brings the segments of a connection in order (RFC 9293, 3.4) and reads the messages in them.
///
/// A segment that comes early waits for those before it: until `maxHeld` segments or `maxHeldBytes` wait, or
/// the first has waited for `maxWait`. Then the missing ones are lost, and the stream goes on at the next
/// message. What comes again is passed over. A sequence number that is far off begins a new connection.
class TcpStream {
  public:
    struct Segment {
        std::uint32_t sequence = 0;
        bool starts = false; ///< has the SYN flag
        ByteView payload;
        std::uint64_t timestamp = 0; ///< nanoseconds
    };
    enum class Outcome {
        Read,      ///< or there was nothing in it
        OutOfStep, ///< read in part, since its start is not that of a message
        Held,      ///< waits for those before it
    };

    static constexpr std::size_t maxHeld = 16;
    static constexpr std::size_t maxHeldBytes = 65536;
    static constexpr std::uint64_t maxWait = 200'000'000; ///< nanoseconds

    /// Takes a segment, and passes each message that ends in it, or in one that waited for it, to `visit`.
    Outcome receive(const Segment& segment, const SomeIpVisitor& visit);
    /// No more segments come: passes on what waits.
    void finish(const SomeIpVisitor& visit);
    /// Forgets the connection.
    void restart();

    /// The time of the segment that came last of those that wait, or 0.
    std::uint64_t lastHeld() const { return held.empty() ? 0 : held.back().timestamp; }
    const SomeIpStream& messages() const { return stream; }
    /// Gaps in the stream that were given up, over all connections.
    std::uint64_t lost() const { return lostSegments; }

  private:
    struct HeldSegment {
        std::uint32_t sequence;
        std::uint64_t timestamp;
        std::vector<std::uint8_t> payload;
    };

    void beginAt(std::uint32_t sequence, bool atMessage);
    std::int32_t distanceTo(std::uint32_t sequence) const;
    bool readNew(std::uint32_t sequence, ByteView payload, const SomeIpVisitor& visit);
    void readHeld(const SomeIpVisitor& visit);
    void skipGap(const SomeIpVisitor& visit);
    void hold(const Segment& segment);
    bool hasWaitedEnough(std::uint64_t now) const;

    SomeIpStream stream;
    bool isKnown = false;
    std::uint32_t next = 0;        ///< the sequence number that comes next
    std::vector<HeldSegment> held; ///< by time of arrival
    std::size_t heldBytes = 0;
    std::uint64_t lostSegments = 0;
};

} // namespace rksignal
