/// \file
/// Writes the messages of a trace in another format.
#pragma once

#include "output/OutputBuffer.h"
#include "rktrace/TraceRecord.h"
#include "text/Counted.h"
#include "text/NumberText.h"
#include "trace/MessageSink.h"

#include <array>
#include <cstdint>
#include <ostream>
#include <streambuf>
#include <vector>

namespace rksignal {

/// What all formats have in common: what they cannot hold is counted.
class TraceWriter : public MessageSink {
  public:
    using MessageSink::receive;

    std::uint64_t written() const { return messages; }
    Counts lost() const;

    void pass(PassedMessage kind, std::uint64_t timestamp) override;

    /// Writes what is still in memory. \throws std::system_error if the file could not be written
    virtual void finish() = 0;

  protected:
    std::uint64_t messages = 0;
    std::uint64_t lostLin = 0;
    std::uint64_t lostFlexRay = 0;
    std::uint64_t lostEthernet = 0;
    std::uint64_t lostGps = 0;
    std::uint64_t lostRecords = 0; ///< raw ones of other kinds
    std::uint64_t lostShapes = 0;  ///< CAN frames that the format has no form for

  private:
    std::array<std::uint64_t, 5> passed{}; ///< by PassedMessage
};

/// Lets a stream write into a buffer.
class BufferedStream : private std::streambuf, public std::ostream {
  public:
    explicit BufferedStream(OutputBuffer& out) : std::ostream(this), out(out) {}

  private:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        out.append({text, static_cast<std::size_t>(size)});
        return size;
    }
    int overflow(int character) override {
        const char byte = static_cast<char>(character);
        xsputn(&byte, 1);
        return character;
    }

    OutputBuffer& out;
};

/// Writes a record file. Messages become records; records are written as they are, but for their time.
class RecordFileWriter final : public TraceWriter {
  public:
    /// `file` must outlive the writer.
    explicit RecordFileWriter(const OutputFile& file) : out(file), stream(out), writer(stream) {}

    void receive(const CANExtTraceMessage& frame) override { write(frame); }
    void receive(const LINTraceMessage& frame) override { write(frame); }
    void receive(const FlexRayExtTraceMessage& frame) override { write(frame); }
    void receive(const MIITraceMessage& frame) override { write(frame); }
    void receive(const GPSTraceMessage& message) override { write(message); }
    bool receiveRecord(std::span<const std::uint8_t> bytes, std::uint64_t timestamp) override;
    void finish() override { out.finish(); }
    bool closed() const override { return out.closed(); }

  private:
    template <class Message>
    void write(const Message& message) {
        encodeRecord(message, record);
        write();
    }
    void write() {
        writer.write(record);
        out.endRow();
        ++messages;
    }

    OutputBuffer out;
    BufferedStream stream;
    TraceRecordWriter writer;
    std::vector<std::uint8_t> record;
};

/// Writes a candump log: CAN and CAN FD data frames, channel N as interface canN. Flags of CAN FD frames are
/// 0, as messages do not carry them.
class CandumpWriter final : public TraceWriter {
  public:
    /// `file` must outlive the writer.
    explicit CandumpWriter(const OutputFile& file) : out(file) {}

    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& /*frame*/) override { ++lostLin; }
    void receive(const FlexRayExtTraceMessage& /*frame*/) override { ++lostFlexRay; }
    void receive(const MIITraceMessage& /*frame*/) override { ++lostEthernet; }
    void receive(const GPSTraceMessage& /*message*/) override { ++lostGps; }
    bool receiveRecord(std::span<const std::uint8_t> bytes, std::uint64_t timestamp) override;
    void finish() override { out.finish(); }
    bool closed() const override { return out.closed(); }

  private:
    void appendFrame(const CANExtTraceMessage& frame);

    OutputBuffer out;
    TimeText time;
    CANExtTraceMessage fromRecord;
};

} // namespace rksignal
