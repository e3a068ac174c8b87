/// \file
/// SOME/IP messages that are sent in segments.
#pragma once

#include "ethernet/FlowKey.h"
#include "ethernet/SomeIpHeader.h"
#include "ethernet/SomeIpStream.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rksignal {

/// Puts the segments of SOME/IP-TP together (AUTOSAR PRS_SOMEIPProtocol, 4.2.1.4). Those of a message may
/// come in any order; a first segment that comes when others have come begins the next message of the key.
///
/// Memory is constant: at most `maxMessages` are under way, and of each no more is kept than signals can
/// reach.
class SomeIpSegments {
  public:
    static constexpr std::size_t maxMessages = 256;

    /// Takes a segment: `data` is what follows its header, which `header` is. When it completes its message,
    /// that is passed to `visit`, as one that was never cut.
    void receive(const FlowKey& flow, const SomeIpHeader& header, ByteView data, const SomeIpVisitor& visit);

    /// Messages that are complete.
    std::uint64_t assembled() const { return assembledMessages; }
    /// Segments that did not come. The size of what is missing tells how many; of messages whose last segment
    /// is missing, that one counts. Those of messages that are under way have not come so far.
    std::uint64_t lost();

  private:
    struct Range {
        std::uint64_t begin;
        std::uint64_t end;
    };

    /// The message of a key: the one under way, or the last one that was complete.
    class Message {
      public:
        void restart();
        /// Whether a segment is the first one of the next message.
        bool isFollowedBy(Range range, ByteView part) const;
        void add(Range range, ByteView part, bool isLast);
        bool isComplete() const;
        ByteView data() const { return kept; }
        /// Of this message and of those that were given up for it.
        std::uint64_t lost() const { return lostBefore + missing(); }

        bool isPassedOn = false;

      private:
        void addRange(Range range);
        std::uint64_t missing() const;

        std::vector<Range> ranges;      ///< of bytes that have come: ascending, apart from each other
        std::vector<std::uint8_t> kept; ///< the data, as far as kept
        std::uint64_t end = 0;          ///< of the message, when its last segment has come
        std::uint64_t segmentSize = 0;  ///< of the largest
        std::uint64_t lostBefore = 0;
    };

    BoundedTable<SegmentedKey, Message, maxMessages> messages;
    std::uint64_t assembledMessages = 0;
};

} // namespace rksignal
