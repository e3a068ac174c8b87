/// \file
/// Messages of SAE J1939 that come in several frames.
#pragma once

#include "rktrace/CANExtTraceMessage.h"
#include "value/ReplayStatistics.h"

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace rksignal {

/// Puts the messages of the transport protocol of SAE J1939-21 (section 5.10) together: up to 1785 bytes in
/// up to 255 packets of 7 bytes (TP.DT, parameter group 0xEB00), which connection management (TP.CM, 0xEC00)
/// announces to everybody (BAM) or to one receiver (RTS). It listens to both sides; in a connection, packets
/// may come in any order and again, as the receiver asks for them.
///
/// A message ends when it is complete, when its sender starts another one to the same destination, when
/// either side aborts it, when the receiver acknowledges it, when nothing has come for the time after which
/// J1939-21 lets a receiver give up, by the time stamps, or when the last packet of a broadcast has come.
///
/// Memory is constant: at most `maxSessions` messages are open, and the one that was quiet longest makes
/// room.
class J1939Transport {
  public:
    static constexpr std::size_t maxSessions = 256;

    /// \param isWanted whether a message with this identifier on this channel is to be put together
    explicit J1939Transport(std::function<bool(std::uint8_t channel, std::uint32_t id)> isWanted)
        : isWanted(std::move(isWanted)) {}

    /// Whether a 29-bit identifier is one of the transport protocol.
    static bool isTransport(std::uint32_t id);

    struct Outcome {
        bool isPart = false;                ///< the frame belongs to a wanted message
        std::uint32_t id = 0;               ///< of the message that is complete now
        std::span<const std::uint8_t> data; ///< of that message, until the next call; empty if there is none
    };

    /// Takes a frame for which isTransport() holds. Allocates only when more messages are open than ever
    /// before.
    Outcome receive(const CANExtTraceMessage& frame);

    TransportStatistics statistics() const;

  private:
    static constexpr std::size_t packetBytes = 7;
    static constexpr std::size_t maxPackets = 255;

    struct Session {
        std::uint8_t channel, source, destination;
        std::uint32_t id;    ///< of the message
        std::uint64_t last;  ///< when its last frame came
        std::size_t size;    ///< bytes
        std::size_t packets; ///< all of them
        std::size_t highest; ///< that came
        std::bitset<maxPackets + 1> came;
        std::array<std::uint8_t, maxPackets * packetBytes> data;
    };
    using Position = std::vector<Session>::iterator;

    Outcome receiveManagement(const CANExtTraceMessage& frame);
    Outcome receivePacket(const CANExtTraceMessage& frame);
    void open(const CANExtTraceMessage& frame, std::uint32_t id);
    Position find(std::uint8_t channel, std::uint8_t source, std::uint8_t destination);
    void giveUp(Position session);
    void giveUpIfFound(std::uint8_t channel, std::uint8_t source, std::uint8_t destination);
    void close(Position session);

    std::function<bool(std::uint8_t channel, std::uint32_t id)> isWanted;
    std::vector<Session> sessions;
    std::array<std::uint8_t, maxPackets * packetBytes> completed; ///< the last complete message
    TransportStatistics counts;
};

} // namespace rksignal
