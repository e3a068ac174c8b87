/// \file
/// Messages as raw records.
#pragma once

#include "trace/MessageSink.h"

#include <cstdint>
#include <span>
#include <vector>

namespace rksignal {

/// Makes each message the raw record (rktrace/TraceRecord.h) that a record file has of it. What is only
/// counted has none.
class RecordSink : public MessageSink {
  public:
    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void receive(const FlexRayExtTraceMessage& frame) override;
    void receive(const MIITraceMessage& frame) override;
    void receive(const EthernetTraceMessage& frame) override;
    void receive(const GpioTraceMessage& message) override;
    void receive(const AnalogTraceMessage& message) override;
    void receive(const KeyboardMessage& message) override;
    void receive(const SystemMessage& message) override;
    void receive(const GPSTraceMessage& message) override;
    bool receiveRecord(std::span<const std::uint8_t> bytes, std::uint64_t timestamp) override;

  protected:
    /// `record` is good until the call returns. The time in its bytes may be another one, the recorder's.
    virtual void keep(std::span<const std::uint8_t> record, std::uint64_t timestamp) = 0;

  private:
    template <class Message>
    void encode(const Message& message);

    std::vector<std::uint8_t> scratch;
};

} // namespace rksignal
