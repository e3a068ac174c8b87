/// \file
/// Keeps the frames that gave one signal its last values.
#pragma once

#include "catalog/Catalog.h"
#include "command/TraceRun.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

namespace rksignal {

/// A message as it was received.
struct SeenFrame {
    std::uint64_t timestamp = 0;
    MessageOrigin origin;
    std::uint32_t identifier = 0;    ///< of CAN and LIN; slot of FlexRay
    std::uint8_t cycle = 0;          ///< of FlexRay
    std::vector<std::uint8_t> bytes; ///< the payload, of Ethernet the frame; empty of inputs
};

/// A value, and the message that brought it.
struct SeenValue {
    SeenFrame frame;
    unsigned long raw = 0;
    double value = 0;
};

/// Stands before and behind a replay: sees the frames, and what they wrote.
class SignalWatch : public ReplayObserver, public ValueSink {
  public:
    /// Keeps `count` frames, at least one. The catalog must outlive the watch.
    SignalWatch(const Catalog& catalog, std::size_t signal, std::size_t count);

    /// The last values, the latest one last.
    const std::deque<SeenValue>& values() const { return seen; }
    /// The last frame with the identity of the message, whether or not it wrote the signal.
    const std::optional<SeenFrame>& lastFrame() const { return last; }
    std::uint64_t valueCount() const { return valuesWritten; }

    void handOnTo(MessageSink& replay) override { next = &replay; }
    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void receive(const FlexRayExtTraceMessage& frame) override;
    void receive(const MIITraceMessage& frame) override;
    void receive(const EthernetTraceMessage& frame) override;
    void receive(const GpioTraceMessage& message) override { handOn(message); }
    void receive(const AnalogTraceMessage& message) override { handOn(message); }
    void receive(const KeyboardMessage& message) override { handOn(message); }
    void receive(const SystemMessage& message) override { handOn(message); }
    void receive(const GPSTraceMessage& message) override { handOn(message); }
    void pass(PassedMessage kind, std::uint64_t timestamp) override { next->pass(kind, timestamp); }

    void written(const MessageInfo& info, std::span<const unsigned long> ids) override;

  private:
    /// What is being decoded; its bytes are those of the trace.
    struct Current {
        std::span<const std::uint8_t> bytes;
        std::uint32_t identifier = 0;
        std::uint8_t cycle = 0;
    };

    template <class Message>
    void handOn(const Message& message);
    bool isOfMessage(const CANExtTraceMessage& frame) const;
    void keep(const MessageInfo& info, SeenFrame& frame) const;
    void keepLast(const MessageInfo& info);

    const MessageDefinition& message;
    BaseSignal& signal;
    std::size_t count;
    MessageSink* next = nullptr;
    Current current;
    std::deque<SeenValue> seen;
    std::optional<SeenFrame> last;
    std::uint64_t valuesWritten = 0;
};

} // namespace rksignal
