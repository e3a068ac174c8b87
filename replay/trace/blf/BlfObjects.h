/// \file
/// Makes the objects of a BLF file messages of the bus that they come from.
#pragma once

#include "trace/FrameContent.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace rksignal {

/// Channels have the numbers of the file, from 1 on. FlexRay frames of channel B get the next one.
class BlfObjects {
  public:
    using Bytes = std::span<const std::uint8_t>;

    /// Whether objects of this type are frames, or errors of a bus. All others are PassedMessage::Other.
    static bool isFrame(std::uint32_t type);
    /// The name of a type of other objects, or its number.
    static std::string typeName(std::uint32_t type);

    /// Reads a whole object, whose head has `headLength` bytes, at most its length. Any bytes may be given.
    /// Allocates only when a message grows. REQUIRES: isFrame(type)
    /// \return nothing if it cannot be one of its type: malformed() says why
    std::optional<FrameContent> read(std::uint32_t type, Bytes object, std::size_t headLength);
    const char* malformed() const { return reason; } ///< a text with static lifetime

  private:
    using Content = std::optional<FrameContent>;
    using Read = Content (BlfObjects::*)(Bytes object, Bytes body);
    static Read readerOf(std::uint32_t type);

    Content readCan(Bytes object, Bytes body);
    Content readCanFd(Bytes object, Bytes body);
    Content readCanFd64(Bytes object, Bytes body);
    Content readLin(Bytes object, Bytes body);
    Content readLin2(Bytes object, Bytes body);
    Content readFlexRayData(Bytes object, Bytes body);
    Content readFlexRayMessage(Bytes object, Bytes body);
    template <std::size_t payloadAt>
    Content readFlexRayReceived(Bytes object, Bytes body);
    Content readEthernet(Bytes object, Bytes body);
    Content readEthernetEx(Bytes object, Bytes body);
    Content readError(Bytes object, Bytes body);

    Content takeCan(std::uint32_t id, bool isFd, std::size_t length, Bytes data);
    Content takeLin(std::uint8_t id, std::size_t length, Bytes data);
    Content takeFlexRay(unsigned slot, unsigned cycle, Bytes payload);
    bool takeChannel(unsigned number, std::uint8_t& channel);
    Content fail(const char* why);

    const char* reason = nullptr;
    CANExtTraceMessage can;
    LINTraceMessage lin;
    FlexRayExtTraceMessage flexRay;
    MIITraceMessage ethernet;
};

} // namespace rksignal
