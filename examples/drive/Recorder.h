/// \file
/// Writes messages of every class as a file of raw trace records.
#pragma once

#include "Frame.h"

#include "rktrace/TraceRecord.h"

#include <cstdint>
#include <map>
#include <ostream>
#include <utility>
#include <vector>

namespace drive {

/// Takes messages in the order in which they are made up, and writes them in the order of their time stamps:
/// those of one bus may be stamped a little later than what another source makes up next.
class Recorder {
  public:
    explicit Recorder(std::ostream& out) : writer(out) {}

    /// Takes a message of any class that `encodeRecord` knows.
    template <class Message>
    void add(const Message& message) {
        std::vector<std::uint8_t> record;
        encodeRecord(message, record);
        pending.emplace(message.timestamp, std::move(record));
    }
    /// Takes a CAN frame. Remote and error frames carry no signals and have no records: they are passed over.
    void add(const Frame& frame);

    /// Writes the messages from before `microseconds`. REQUIRES: none from before that time is added later.
    void writeBefore(std::uint64_t microseconds);

    std::uint64_t written() const { return count; }

  private:
    TraceRecordWriter writer;
    std::multimap<std::uint64_t, std::vector<std::uint8_t>> pending; // by time stamp, equal ones as added
    std::uint64_t count = 0;
};

} // namespace drive
