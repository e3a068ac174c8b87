/// \file
/// Messages that one thread reads and another one decodes.
#pragma once

#include "trace/MessageSink.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <tuple>
#include <vector>

namespace rksignal {

/// Keeps messages in the order in which they came. Its memory is bounded, and is used again by the messages
/// that come after clear().
///
/// A record is kept as its bytes, and taken for one that its type allows: whether it is shows when it is
/// decoded.
class MessageBatch final : public MessageSink {
  public:
    /// A record that could not be decoded.
    struct RefusedRecord {
        std::size_t trace = 0;
        std::uint64_t number = 0; ///< in the trace, from 1
    };

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
    bool receiveRecord(std::span<const std::uint8_t> record, std::uint64_t timestamp) override;
    void pass(PassedMessage kind, std::uint64_t timestamp) override;

    bool empty() const { return kinds.empty(); }
    /// Whether it is to be delivered before it gets more.
    bool isFull() const { return kinds.size() >= maxMessages || bytes >= maxBytes; }
    /// Whether the last message came as a record; placeRecord() says where it stands.
    bool endsWithRecord() const { return !kinds.empty() && kinds.back() == Kind::Record; }
    void placeRecord(std::size_t trace, std::uint64_t number) { records.last().place = {trace, number}; }

    /// Hands all messages on, until the sink is closed.
    void deliver(MessageSink& sink);
    /// Of the last delivery.
    const std::vector<RefusedRecord>& refused() const { return refusedRecords; }
    void clear();

  private:
    static constexpr std::size_t maxMessages = 4096; ///< fewer than UnknownMessages::maxIdentifiers
    static constexpr std::size_t maxBytes = std::size_t{256} << 10;
    static constexpr std::size_t largeMessage = 4096; ///< bytes beside the message itself

    enum class Kind : std::uint8_t {
        Can,
        Lin,
        FlexRay,
        Mii,
        Ethernet,
        Gpio,
        Analog,
        Keyboard,
        System,
        Gps,
        Record,
        Passed
    };

    struct Record {
        std::size_t begin = 0; ///< in `recordBytes`
        std::size_t size = 0;
        std::uint64_t timestamp = 0;
        RefusedRecord place;
    };
    struct Passed {
        PassedMessage kind;
        std::uint64_t timestamp;
    };

    /// Messages of one kind. Those behind `used` are there to be overwritten: what they have allocated stays.
    template <class Message>
    struct Store {
        std::vector<Message> messages;
        std::size_t used = 0;
        std::size_t delivered = 0;

        Message& last() { return messages[used - 1]; }
        void add(const Message& message) {
            if (used < messages.size()) {
                messages[used] = message;
            } else {
                messages.push_back(message);
            }
            ++used;
        }
    };

    template <class Message>
    void add(Kind kind, const Message& message, std::size_t size);
    template <class Message>
    void deliverNext(MessageSink& sink);
    void deliverRecord(MessageSink& sink);
    void deliverNextOf(Kind kind, MessageSink& sink);

    std::vector<Kind> kinds; ///< of the messages, in their order
    std::size_t bytes = 0;   ///< that they take
    bool hasLarge = false;
    std::tuple<Store<CANExtTraceMessage>, Store<LINTraceMessage>, Store<FlexRayExtTraceMessage>,
               Store<MIITraceMessage>, Store<EthernetTraceMessage>, Store<GpioTraceMessage>,
               Store<AnalogTraceMessage>, Store<KeyboardMessage>, Store<SystemMessage>,
               Store<GPSTraceMessage>>
        stores;
    Store<Record> records;
    Store<Passed> passed;
    std::vector<std::uint8_t> recordBytes;
    std::vector<RefusedRecord> refusedRecords;
};

} // namespace rksignal
