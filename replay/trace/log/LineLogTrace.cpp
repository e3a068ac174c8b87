#include "trace/log/LineLogTrace.h"

namespace rksignal {

using Line = LineLog::Line;

bool LineLogTrace::next() {
    std::string_view line;
    while (nextLine(line)) {
        kind = log->read(line);
        if (kind == Line::Malformed) {
            countMalformed(log->reason);
        } else if (kind != Line::Nothing) {
            now = log->timestamp;
            return true;
        }
    }
    conclude();
    return false;
}

void LineLogTrace::deliver(MessageSink& sink, std::uint64_t time) {
    switch (kind) {
    case Line::Can:
        log->can.timestamp = time;
        sink.receive(log->can);
        break;
    case Line::Lin:
        log->lin.timestamp = time;
        sink.receive(log->lin);
        break;
    case Line::FlexRay:
        log->flexRay.timestamp = time;
        sink.receive(log->flexRay);
        break;
    case Line::Remote:
        sink.pass(PassedMessage::Remote, time);
        break;
    case Line::Error:
        sink.pass(PassedMessage::Error, time);
        break;
    case Line::Xl:
        sink.pass(PassedMessage::Xl, time);
        break;
    default:
        sink.pass(PassedMessage::Other, time);
    }
}

void LineLogTrace::completeReport() {
    if (const char* const note = log->note(); note != nullptr && found.messages > 0) {
        found.remarks.add({path(), Severity::Note, note});
    }
}

} // namespace rksignal
