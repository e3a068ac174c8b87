/// \file
/// One message for two sinks.
#pragma once

#include "trace/MessageSink.h"

#include <cstdint>
#include <span>

namespace rksignal {

/// Hands each message to a first sink and then to a second one. It is closed when one of them is.
class MessageTee final : public MessageSink {
  public:
    /// Both must outlive the tee.
    MessageTee(MessageSink& first, MessageSink& second) : first(first), second(second) {}

    void receive(const CANExtTraceMessage& frame) override { hand(frame); }
    void receive(const LINTraceMessage& frame) override { hand(frame); }
    void receive(const FlexRayExtTraceMessage& frame) override { hand(frame); }
    void receive(const MIITraceMessage& frame) override { hand(frame); }
    void receive(const EthernetTraceMessage& frame) override { hand(frame); }
    void receive(const GpioTraceMessage& message) override { hand(message); }
    void receive(const AnalogTraceMessage& message) override { hand(message); }
    void receive(const KeyboardMessage& message) override { hand(message); }
    void receive(const SystemMessage& message) override { hand(message); }
    void receive(const GPSTraceMessage& message) override { hand(message); }
    bool receiveRecord(std::span<const std::uint8_t> record, std::uint64_t timestamp) override {
        const bool isRecord = first.receiveRecord(record, timestamp);
        return second.receiveRecord(record, timestamp) && isRecord;
    }
    void pass(PassedMessage kind, std::uint64_t timestamp) override {
        first.pass(kind, timestamp);
        second.pass(kind, timestamp);
    }
    bool closed() const override { return first.closed() || second.closed(); }

  private:
    template <class Message>
    void hand(const Message& message) {
        first.receive(message);
        second.receive(message);
    }

    MessageSink& first;
    MessageSink& second;
};

} // namespace rksignal
