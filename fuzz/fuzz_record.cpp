// Record files of any content, and any bytes as a record of every class. What decodes must come back as it
// was.

#include "input/InputSignal.h"
#include "rktrace/TraceRecord.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>

namespace {

template <class Message>
void decode(std::span<const std::uint8_t> bytes) {
    Message message;
    if (!decodeRecord(bytes, message)) {
        return;
    }
    std::vector<std::uint8_t> record;
    encodeRecord(message, record);
    Message again;
    std::vector<std::uint8_t> second;
    if (!decodeRecord(record, again)) {
        std::abort();
    }
    encodeRecord(again, second);
    if (second != record || record.size() != bytes.size()) {
        std::abort();
    }
}

void decodeAll(std::span<const std::uint8_t> bytes) {
    decode<CANExtTraceMessage>(bytes);
    decode<LINTraceMessage>(bytes);
    decode<FlexRayExtTraceMessage>(bytes);
    decode<GpioTraceMessage>(bytes);
    decode<AnalogTraceMessage>(bytes);
    decode<KeyboardMessage>(bytes);
    decode<SystemMessage>(bytes);
    decode<SystemUsageMessage>(bytes);
    decode<GPSTraceMessage>(bytes);
    decode<EthernetTraceMessage>(bytes);
    decode<MIITraceMessage>(bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    decodeAll({data, size});
    InputSignal::signalsInUse(data, data + size, 0);
    std::istringstream file(std::string(reinterpret_cast<const char*>(data), size));
    TraceRecordReader reader(file);
    std::uint64_t bytes = reader.position();
    while (reader.next()) {
        bytes += 12 + reader.record().size();
        decodeAll(reader.record());
    }
    if (reader.isRecordFile() && (reader.position() != size || bytes + reader.damagedBytes() != size)) {
        std::abort();
    }
    return 0;
}
