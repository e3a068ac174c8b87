#include "trace/AscTrace.h"

namespace rksignal {

using Result = AscLineReader::Result;

bool AscTrace::next() {
    std::string_view line;
    while (nextLine(line)) {
        kind = reader.read(line);
        if (kind == Result::Malformed) {
            countMalformed(reader.reason);
        } else if (kind != Result::Nothing) {
            now = reader.timestamp;
            return true;
        }
    }
    return false;
}

void AscTrace::deliver(MessageSink& sink, std::uint64_t time) {
    switch (kind) {
    case Result::Can:
        reader.can.timestamp = time;
        sink.receive(reader.can);
        break;
    case Result::Lin:
        reader.lin.timestamp = time;
        sink.receive(reader.lin);
        break;
    case Result::Remote:
        sink.pass(PassedMessage::Remote, time);
        break;
    case Result::Error:
        sink.pass(PassedMessage::Error, time);
        break;
    default:
        sink.pass(PassedMessage::Other, time);
    }
}

} // namespace rksignal
