/// \file
/// The datagrams of a socket, many with one system call.
#pragma once

#include "file/Descriptor.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <sys/socket.h>

namespace rksignal {

/// Receives datagrams with the times at which the kernel got them. Allocates nothing after it was made.
class DatagramReader {
  public:
    static constexpr std::size_t mostAtOnce = 64;

    /// Takes over the socket, and asks it for time stamps and the number of lost datagrams. \param name is
    /// for errors \param mostBytes of a datagram; what is longer is cut off
    DatagramReader(std::string name, int descriptor, std::size_t mostBytes);
    ~DatagramReader();
    DatagramReader(const DatagramReader&) = delete;
    DatagramReader& operator=(const DatagramReader&) = delete;

    int descriptor() const { return socket.get(); }

    /// Receives what is there, without waiting, in place of what was not taken.
    /// \throws SourceError if the socket gives nothing any more
    void receive();
    /// Whether next() has another one.
    bool hasMore() const { return at < count; }
    /// Goes on to the next one that was received. REQUIRES: hasMore()
    void next();

    /// Of the datagram. REQUIRES here and below: next() was called after receive().
    std::span<const std::uint8_t> bytes() const { return content; }
    bool isWhole() const { return whole; }
    /// When it was received, in nanoseconds since 1970-01-01 UTC: by the kernel if it tells.
    std::uint64_t timestamp() const { return time; }
    /// Who sent it, as far as that is known.
    std::span<const std::uint8_t> sender() const { return address; }

    std::uint64_t lost() const { return dropped; }            ///< datagrams that did not fit into the socket
    std::uint64_t interruptions() const { return timesDown; } ///< times that the network was down
    bool ended() const { return isAtEnd; }                    ///< the other side of a connection is closed

  private:
    struct Buffers;

    void readControl(msghdr& head);

    std::string name;
    Descriptor socket;
    std::unique_ptr<Buffers> buffers;
    std::size_t count = 0; ///< received
    std::size_t at = 0;    ///< of them taken
    std::span<const std::uint8_t> content;
    std::span<const std::uint8_t> address;
    std::uint64_t time = 0;
    bool whole = true;
    bool isConnection = false; ///< which a datagram without bytes ends
    bool isAtEnd = false;
    std::uint32_t latestDropCount = 0; ///< by the kernel, modulo 2^32
    std::uint64_t dropped = 0;
    std::uint64_t timesDown = 0;
};

} // namespace rksignal
