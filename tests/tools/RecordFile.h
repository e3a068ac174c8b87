/// \file
/// Files of raw trace records.
#pragma once

#include "rktrace/TraceRecord.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace rksignal {

inline CANExtTraceMessage canFrame(std::uint64_t time, std::uint8_t channel, std::uint32_t format,
                                   std::uint32_t id, const std::vector<std::uint8_t>& data) {
    CANExtTraceMessage frame{time, channel, format, static_cast<std::uint8_t>(data.size()), id, {}};
    std::copy(data.begin(), data.end(), frame.payload.begin());
    return frame;
}

/// Collects messages.
class RecordFile {
  public:
    RecordFile() : writer(out) {}
    template <class Message>
    RecordFile& add(const Message& message) {
        encodeRecord(message, record);
        writer.write(record);
        return *this;
    }
    std::string bytes() const { return out.str(); }

  private:
    std::ostringstream out;
    TraceRecordWriter writer;
    std::vector<std::uint8_t> record;
};

} // namespace rksignal
