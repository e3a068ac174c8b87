/// \file
/// Capture files (pcap, pcapng), read through libpcap.
#pragma once

#include "file/InputFile.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <sys/types.h>

struct pcap;

namespace rksignal {

/// The packets of a capture file or pipe, in both byte orders, with time stamps in micro- or nanoseconds.
///
/// All packets have one link type: libpcap refuses a pcapng file that mixes them, and does not tell from
/// which interface a packet came.
class PacketFile {
  public:
    /// Waits for the head of the file. `file` must outlive the object.
    /// \throws UsageError if it is no capture, std::system_error if reading fails; the text names the file
    explicit PacketFile(InputFile& file);
    ~PacketFile();
    PacketFile(const PacketFile&) = delete;
    PacketFile& operator=(const PacketFile&) = delete;

    /// One of the numbers `DLT_...` of libpcap.
    int linkType() const;

    /// Goes on to the next packet. \return false at the end, and where the file cannot be understood any
    /// further: then failure() says why \throws std::system_error if reading fails
    bool next();

    /// Number of the packet, from 1. REQUIRES here and below: next() returned true.
    std::uint64_t number() const { return count; }
    /// Nanoseconds since 1970-01-01 UTC; nothing if the time cannot be written so.
    std::optional<std::uint64_t> timestamp() const { return time; }
    /// What was recorded of the packet; good until the next one.
    std::span<const std::uint8_t> bytes() const { return packet; }
    /// Whether that is all of it.
    bool isWhole() const { return whole; }

    std::uint64_t packets() const { return count; } ///< read so far
    const std::string& failure() const { return reason; }

  private:
    struct Close {
        void operator()(pcap* capture) const;
    };

    static ssize_t give(void* self, char* to, std::size_t size);
    void rethrow();
    void conclude(int result);

    InputFile& file;
    std::exception_ptr error; ///< of `file`, on its way through libpcap
    std::unique_ptr<pcap, Close> capture;
    std::uint64_t count = 0;
    std::optional<std::uint64_t> time;
    std::span<const std::uint8_t> packet;
    bool whole = false;
    std::string reason;
};

} // namespace rksignal
