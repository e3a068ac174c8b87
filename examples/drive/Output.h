/// \file
/// The files that are written of a drive: what a logger in the car records of it.
#pragma once

#include "Signals.h"

#include "rktrace/MIITraceMessage.h"
#include "rktrace/TraceRecord.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace drive {

/// The last `count` digits of `number`.
std::string digits(std::uint64_t number, int count, unsigned base = 10);

struct CanFrame : CANExtTraceMessage {
    enum class Kind : std::uint8_t { Data, Remote, Error } kind = Kind::Data;
};

/// A file, standard output for `-`, or nothing for an empty path.
class File {
  public:
    /// \throws std::runtime_error if the file cannot be opened
    explicit File(const std::string& path);
    bool isWanted() const { return !path.empty(); }
    /// Takes what is written to it in any case.
    std::ostream& stream();
    /// \throws std::runtime_error if the file does not hold what has been written to it
    void check();

  private:
    std::string path;
    std::ofstream file;
};

/// The paths of the files.
struct Paths {
    std::string log, records, nmea, capture;
};

/// Writes a candump log, a record file of all messages, the GPS receiver's sentences as text, and a pcapng
/// capture of the Ethernet frames.
///
/// Records are written in the order of their time stamps, though the messages of one bus may be stamped a
/// little later than what another source sends next.
class Output {
  public:
    explicit Output(const Paths& paths);

    void writeCan(const CanFrame& frame);
    void writeEthernet(const MIITraceMessage& message);
    void writeGps(const GPSTraceMessage& message);
    /// Takes a message of any class that `encodeRecord` knows, for the record file alone.
    template <class Message>
    void record(const Message& message) {
        std::vector<std::uint8_t> bytes;
        encodeRecord(message, bytes);
        pending.emplace(message.timestamp, std::move(bytes));
    }

    /// Whether anything but the log is written.
    bool recordsAll() const { return records.isWanted() || nmea.isWanted() || capture.isWanted(); }
    /// Writes the records from before `nanoseconds`. REQUIRES: none from before that time is added later.
    void writeRecordsBefore(std::uint64_t nanoseconds);
    /// \throws std::runtime_error if a file does not hold what has been written to it
    void check();
    /// Writes what is pending. \return what has been written, as a text
    std::string finish();

  private:
    void writeBlock(std::uint32_t type, const Bytes& body);

    File log, records, nmea, capture;
    TraceRecordWriter writer;
    std::multimap<std::uint64_t, std::vector<std::uint8_t>> pending; // by time stamp, equal ones as added
    std::uint64_t frameCount = 0, recordCount = 0;
};

} // namespace drive
