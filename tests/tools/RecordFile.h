/// \file
/// Files of raw trace records.
#pragma once

#include "rktrace/TraceRecord.h"

#include <sstream>
#include <string>
#include <vector>

namespace rksignal {

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
