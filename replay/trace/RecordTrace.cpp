#include "trace/RecordTrace.h"

#include "text/Error.h"

namespace rksignal {

RecordTrace::RecordTrace(std::unique_ptr<InputFile> file)
    : TraceSource(std::move(file)), buffer(input()), stream(&buffer), reader(stream) {
    if (!reader.isRecordFile()) {
        throw Error(path() + ": records of an unknown version");
    }
}

bool RecordTrace::next() {
    if (!reader.next()) {
        conclude();
        return false;
    }
    ++number;
    now = recordTimestamp(reader.record());
    return true;
}

void RecordTrace::deliver(MessageSink& sink, std::uint64_t time) {
    if (!sink.receiveRecord(reader.record(), time)) {
        countRefused(number);
    }
}

void RecordTrace::countRefused(std::uint64_t refused) {
    if (found.damagedRecords++ == 0) {
        firstDamaged = refused;
    }
}

void RecordTrace::completeReport() {
    found.damagedBytes = reader.damagedBytes();
    if (found.damagedBytes > 0) {
        remark(std::to_string(found.damagedBytes) + " byte" + (found.damagedBytes == 1 ? "" : "s") +
               " damaged from offset " + std::to_string(reader.firstDamage()));
    }
    if (found.damagedRecords > 0) {
        remark("records with an impossible content: " + std::to_string(found.damagedRecords) +
               ", the first is record " + std::to_string(firstDamaged));
    }
}

} // namespace rksignal
