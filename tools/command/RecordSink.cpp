#include "command/RecordSink.h"

#include "rktrace/TraceRecord.h"

namespace rksignal {

template <class Message>
void RecordSink::encode(const Message& message) {
    encodeRecord(message, scratch);
    keep(scratch, message.timestamp);
}

void RecordSink::receive(const CANExtTraceMessage& frame) {
    encode(frame);
}

void RecordSink::receive(const LINTraceMessage& frame) {
    encode(frame);
}

void RecordSink::receive(const FlexRayExtTraceMessage& frame) {
    encode(frame);
}

void RecordSink::receive(const MIITraceMessage& frame) {
    encode(frame);
}

void RecordSink::receive(const EthernetTraceMessage& frame) {
    encode(frame);
}

void RecordSink::receive(const GpioTraceMessage& message) {
    encode(message);
}

void RecordSink::receive(const AnalogTraceMessage& message) {
    encode(message);
}

void RecordSink::receive(const KeyboardMessage& message) {
    encode(message);
}

void RecordSink::receive(const SystemMessage& message) {
    if (const auto* const usage = dynamic_cast<const SystemUsageMessage*>(&message)) {
        encode(*usage);
    } else {
        encode(message);
    }
}

void RecordSink::receive(const GPSTraceMessage& message) {
    encode(message);
}

bool RecordSink::receiveRecord(std::span<const std::uint8_t> bytes, std::uint64_t timestamp) {
    keep(bytes, timestamp);
    return true;
}

} // namespace rksignal
