#include "trace/RecordTrace.h"

#include "trace/UsageError.h"

namespace rksignal {

RecordTrace::RecordTrace(std::unique_ptr<InputFile> file)
    : TraceSource(std::move(file)), buffer(input()), stream(&buffer), reader(stream) {
    stream.exceptions(std::ios::badbit); // what the file throws goes on to the caller
    if (!reader.isRecordFile()) {
        throw UsageError(path() + ": records of an unknown version");
    }
}

bool RecordTrace::next() {
    const bool isRecord = reader.next();
    if (isRecord == buffer.isStopped()) {
        // At the end; and behind a stop after each record, as what is then cut off is no damage.
        found.bytes = reader.damagedBytes();
        found.firstByte = reader.firstDamage();
    }
    if (!isRecord) {
        return false;
    }
    now = recordTimestamp(reader.record());
    return true;
}

void RecordTrace::deliver(TraceReceiver& receiver, std::uint64_t time) {
    receiver.receiveRecord(reader.record(), time);
}

std::streamsize RecordTrace::StreamBuffer::xsgetn(char* to, std::streamsize count) {
    std::streamsize got = 0;
    try {
        while (got < count) {
            const std::size_t more = file.read(to + got, static_cast<std::size_t>(count - got));
            if (more == 0) {
                break;
            }
            got += static_cast<std::streamsize>(more);
        }
    } catch (const InputStopped&) {
        stopped = true;
    }
    return got;
}

} // namespace rksignal
