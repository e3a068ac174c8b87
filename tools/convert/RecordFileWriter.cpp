#include "convert/RecordFileWriter.h"

namespace rksignal {

void RecordFileWriter::write() {
    writer.write(record);
    out.endRow();
    ++messages;
}

bool RecordFileWriter::receiveRecord(std::span<const std::uint8_t> bytes, std::uint64_t timestamp) {
    record.assign(bytes.begin(), bytes.end());
    for (std::size_t i = 0; i < sizeof timestamp; ++i) {
        record[recordAt::timestamp + i] = static_cast<std::uint8_t>(timestamp >> (56 - 8 * i));
    }
    write();
    return true;
}

} // namespace rksignal
