#include "trace/MessageBatch.h"

namespace rksignal {

template <class Message>
void MessageBatch::add(Kind kind, const Message& message, std::size_t size) {
    std::get<Store<Message>>(stores).add(message);
    kinds.push_back(kind);
    bytes += sizeof message + size;
    hasLarge = hasLarge || size > largeMessage;
}

void MessageBatch::receive(const CANExtTraceMessage& frame) {
    add(Kind::Can, frame, 0);
}

void MessageBatch::receive(const LINTraceMessage& frame) {
    add(Kind::Lin, frame, frame.data.size());
}

void MessageBatch::receive(const FlexRayExtTraceMessage& frame) {
    add(Kind::FlexRay, frame, frame.data.size() + frame.payload.size());
}

void MessageBatch::receive(const MIITraceMessage& frame) {
    add(Kind::Mii, frame, frame.frame.size());
}

void MessageBatch::receive(const EthernetTraceMessage& frame) {
    add(Kind::Ethernet, frame, frame.frame.size());
}

void MessageBatch::receive(const GpioTraceMessage& message) {
    add(Kind::Gpio, message, message.elements.size() * sizeof(gpioElement_t));
}

void MessageBatch::receive(const AnalogTraceMessage& message) {
    add(Kind::Analog, message, message.elements.size() * sizeof(analogElement_t));
}

void MessageBatch::receive(const KeyboardMessage& message) {
    add(Kind::Keyboard, message, 0);
}

void MessageBatch::receive(const SystemMessage& message) {
    add(Kind::System, message, message.text.size());
}

void MessageBatch::receive(const GPSTraceMessage& message) {
    add(Kind::Gps, message, message.sentences.size());
}

bool MessageBatch::receiveRecord(std::span<const std::uint8_t> record, std::uint64_t timestamp) {
    records.add({recordBytes.size(), record.size(), timestamp, {}});
    recordBytes.insert(recordBytes.end(), record.begin(), record.end());
    kinds.push_back(Kind::Record);
    bytes += sizeof(Record) + record.size();
    return true;
}

void MessageBatch::pass(PassedMessage kind, std::uint64_t timestamp) {
    passed.add({kind, timestamp});
    kinds.push_back(Kind::Passed);
}

void MessageBatch::deliver(MessageSink& sink) {
    refusedRecords.clear();
    for (const Kind kind : kinds) {
        if (sink.closed()) {
            return;
        }
        deliverNextOf(kind, sink);
    }
}

void MessageBatch::deliverNextOf(Kind kind, MessageSink& sink) {
    switch (kind) {
    case Kind::Can:
        return deliverNext<CANExtTraceMessage>(sink);
    case Kind::Lin:
        return deliverNext<LINTraceMessage>(sink);
    case Kind::FlexRay:
        return deliverNext<FlexRayExtTraceMessage>(sink);
    case Kind::Mii:
        return deliverNext<MIITraceMessage>(sink);
    case Kind::Ethernet:
        return deliverNext<EthernetTraceMessage>(sink);
    case Kind::Gpio:
        return deliverNext<GpioTraceMessage>(sink);
    case Kind::Analog:
        return deliverNext<AnalogTraceMessage>(sink);
    case Kind::Keyboard:
        return deliverNext<KeyboardMessage>(sink);
    case Kind::System:
        return deliverNext<SystemMessage>(sink);
    case Kind::Gps:
        return deliverNext<GPSTraceMessage>(sink);
    case Kind::Record:
        return deliverRecord(sink);
    case Kind::Passed:
        const Passed& next = passed.messages[passed.delivered++];
        return sink.pass(next.kind, next.timestamp);
    }
}

template <class Message>
void MessageBatch::deliverNext(MessageSink& sink) {
    auto& store = std::get<Store<Message>>(stores);
    sink.receive(store.messages[store.delivered++]);
}

void MessageBatch::deliverRecord(MessageSink& sink) {
    const Record& record = records.messages[records.delivered++];
    if (!sink.receiveRecord(std::span(recordBytes).subspan(record.begin, record.size), record.timestamp)) {
        refusedRecords.push_back(record.place);
    }
}

/// The memory of large messages is given back, lest in the end each place for a message keeps that of one.
void MessageBatch::clear() {
    const auto reset = [this](auto& store) {
        store.used = 0;
        store.delivered = 0;
        if (hasLarge) {
            store.messages.clear();
        }
    };
    std::apply([&reset](auto&... each) { (reset(each), ...); }, stores);
    reset(records);
    reset(passed);
    recordBytes.clear();
    kinds.clear();
    bytes = 0;
    hasLarge = false;
}

} // namespace rksignal
