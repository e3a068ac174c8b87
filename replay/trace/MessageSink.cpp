#include "trace/MessageSink.h"

#include "rktrace/TraceRecord.h"

namespace rksignal {
namespace {

using Record = std::span<const std::uint8_t>;

template <class Message>
bool handOver(Record record, std::uint64_t timestamp, MessageSink& sink) {
    Message message;
    if (!decodeRecord(record, message)) {
        return false;
    }
    message.timestamp = timestamp;
    sink.receive(message);
    return true;
}

} // namespace

MessageSink::~MessageSink() = default;

bool MessageSink::receiveRecord(Record record, std::uint64_t timestamp) {
    switch (recordType(record)) {
    case RecordType::Can:
        return handOver<CANExtTraceMessage>(record, timestamp, *this);
    case RecordType::Lin:
        return handOver<LINTraceMessage>(record, timestamp, *this);
    case RecordType::FlexRay:
        return handOver<FlexRayExtTraceMessage>(record, timestamp, *this);
    case RecordType::Ethernet:
        return handOver<EthernetTraceMessage>(record, timestamp, *this);
    case RecordType::Mii:
        return handOver<MIITraceMessage>(record, timestamp, *this);
    case RecordType::Gpio:
        return handOver<GpioTraceMessage>(record, timestamp, *this);
    case RecordType::Analog:
        return handOver<AnalogTraceMessage>(record, timestamp, *this);
    case RecordType::Keyboard:
        return handOver<KeyboardMessage>(record, timestamp, *this);
    case RecordType::System:
        return handOver<SystemMessage>(record, timestamp, *this);
    case RecordType::SystemUsage:
        return handOver<SystemUsageMessage>(record, timestamp, *this);
    case RecordType::Gps:
        return handOver<GPSTraceMessage>(record, timestamp, *this);
    }
    pass(PassedMessage::Other, timestamp);
    return true;
}

} // namespace rksignal
