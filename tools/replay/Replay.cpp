#include "replay/Replay.h"

namespace rksignal {

void Replay::run(LineReader& trace) {
    std::string_view text;
    while (!sink.closed() && trace.next(text)) {
        const char* const damage = trace.tooLong() ? "line is too long" : replayLine(text);
        if (damage != nullptr) {
            counts.countMalformed(trace.path(), trace.lineNumber(), damage);
        }
    }
}

const char* Replay::replayLine(std::string_view text) {
    if (text.empty()) {
        return nullptr;
    }
    if (const char* const damage = parseCandumpLine(text, line)) {
        return damage;
    }
    if (line.kind == CandumpLine::Kind::DropCount) {
        counts.dropped += line.dropped;
        return nullptr;
    }
    const auto channel = channels.channelOf(line.interfaceName);
    if (!channel) {
        return "too many different interface names";
    }
    line.frame.channel = *channel;
    ++counts.frames;
    sink.reached(line.frame.timestamp);
    switch (line.kind) {
    case CandumpLine::Kind::Data:
        replayFrame(line.frame);
        break;
    case CandumpLine::Kind::Remote:
        ++counts.remote;
        break;
    case CandumpLine::Kind::Error:
        ++counts.error;
        break;
    default:
        ++counts.xl;
    }
    return nullptr;
}

void Replay::replayFrame(const CANExtTraceMessage& frame) {
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

} // namespace rksignal
