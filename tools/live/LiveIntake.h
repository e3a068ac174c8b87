/// \file
/// Where the messages of a running logger go.
#pragma once

#include "live/LiveSession.h"
#include "live/RecordFiles.h"
#include "trace/MessageSink.h"

#include <cstdint>
#include <optional>
#include <span>
#include <utility>

namespace rksignal {

/// Hands each message to the record files, if there are any, and to what is in force.
class LiveIntake final : public MessageSink {
  public:
    /// Both must outlive the intake, or be followed by others. `records` may be null.
    void handTo(RecordFiles* to) { records = to; }
    void handTo(LiveSession& to) {
        session = &to;
        decoder = &to.decoder();
        ring = to.messages();
    }

    /// The time of the last message; nothing if none has come since the last call.
    std::optional<std::uint64_t> takeTime() { return std::exchange(time, std::nullopt); }

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
        bool isRecord = true;
        each(timestamp,
             [&](MessageSink& sink) { isRecord = sink.receiveRecord(record, timestamp) && isRecord; });
        return isRecord;
    }
    void pass(PassedMessage kind, std::uint64_t timestamp) override {
        each(timestamp, [&](MessageSink& sink) { sink.pass(kind, timestamp); });
    }
    bool closed() const override { return session->closed(); }

  private:
    template <class Message>
    void hand(const Message& message) {
        each(message.timestamp, [&](MessageSink& sink) { sink.receive(message); });
    }
    template <class Use>
    void each(std::uint64_t timestamp, Use use) {
        time = timestamp;
        if (records != nullptr) {
            use(*records);
        }
        use(*decoder);
        if (ring != nullptr) {
            use(*ring);
        }
    }

    LiveSession* session = nullptr;
    MessageSink* decoder = nullptr;
    MessageSink* ring = nullptr;
    RecordFiles* records = nullptr;
    std::optional<std::uint64_t> time;
};

} // namespace rksignal
