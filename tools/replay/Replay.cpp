#include "replay/Replay.h"

namespace rksignal {

void Replay::run(TraceMerge& traces) {
    while (!sink.closed() && traces.next()) {
        traces.deliver(*this);
    }
    for (std::size_t i = 0; i < traces.size(); ++i) {
        counts.count(traces[i]);
    }
}

void Replay::receive(const CANExtTraceMessage& frame) {
    ++counts.frames;
    sink.reached(frame.timestamp);
    bool known = false;
    for (const auto decoders : catalog.decodersOf(frame)) {
        for (MessageDecoder* const decoder : decoders) {
            known = true;
            decoder->decode(frame, ids);
            if (!ids.empty()) {
                sink.written(frame, ids);
            }
        }
    }
    if (known) {
        ++counts.decoded;
        sink.decoded(frame);
    } else {
        counts.countUnknown(frame);
    }
}

void Replay::receive(const LINTraceMessage& frame) {
    pass(PassedMessage::Other, frame.timestamp);
}

void Replay::receive(const GPSTraceMessage& message) {
    pass(PassedMessage::Other, message.timestamp);
}

void Replay::receiveRecord(std::span<const std::uint8_t> /*record*/, std::uint64_t timestamp) {
    pass(PassedMessage::Other, timestamp);
}

void Replay::pass(PassedMessage kind, std::uint64_t timestamp) {
    ++counts.passed[static_cast<std::size_t>(kind)];
    sink.reached(timestamp);
}

} // namespace rksignal
