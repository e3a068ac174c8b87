/// \file
/// Writes BLF files.
#pragma once

#include "convert/TraceWriter.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace rksignal {

/// CAN, CAN FD, LIN, FlexRay and Ethernet frames in deflated containers, with times in nanoseconds since the
/// begin of the recording, the millisecond of the first message. Earlier times are written as that. Channels
/// keep their numbers. What the head of the file says of its length is filled in at the end, unless the
/// output is a pipe.
class BlfWriter final : public TraceWriter {
  public:
    using TraceWriter::receive;

    explicit BlfWriter(const OutputFile& file);

    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void receive(const FlexRayExtTraceMessage& frame) override;
    void receive(const MIITraceMessage& frame) override;
    void receive(const EthernetTraceMessage& frame) override;
    void finish() override;
    Counts lost() const override;

  private:
    void beginObject(std::uint32_t type, std::size_t bodyLength, std::uint64_t timestamp);
    void endObject();
    void appendEthernet(std::uint8_t channel, const std::vector<std::uint8_t>& frame,
                        std::uint64_t timestamp);
    void writeContainer();
    std::string head() const;

    const OutputFile& file;
    std::string content; ///< of the next container
    std::string deflated;
    bool isBegun = false;
    std::uint64_t start = 0; ///< of the recording, a whole number of milliseconds
    std::uint64_t latest = 0;
    std::uint64_t length;         ///< of the file so far, here and below
    std::uint64_t inflatedLength; ///< if its containers were plain
    std::uint64_t early = 0;      ///< messages before the begin
};

} // namespace rksignal
