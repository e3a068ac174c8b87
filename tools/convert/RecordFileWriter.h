/// \file
/// Writes record files.
#pragma once

#include "convert/TraceWriter.h"
#include "rktrace/TraceRecord.h"

#include <ostream>
#include <span>
#include <streambuf>
#include <vector>

namespace rksignal {

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

/// Messages become records; records are written as they are, but for their time.
class RecordFileWriter final : public TraceWriter {
  public:
    using TraceWriter::receive;

    explicit RecordFileWriter(const OutputFile& file) : TraceWriter(file), stream(out), writer(stream) {}

    void receive(const CANExtTraceMessage& frame) override { write(frame); }
    void receive(const LINTraceMessage& frame) override { write(frame); }
    void receive(const FlexRayExtTraceMessage& frame) override { write(frame); }
    void receive(const MIITraceMessage& frame) override { write(frame); }
    void receive(const GPSTraceMessage& message) override { write(message); }
    bool receiveRecord(std::span<const std::uint8_t> bytes, std::uint64_t timestamp) override;

  private:
    template <class Message>
    void write(const Message& message) {
        encodeRecord(message, record);
        write();
    }
    void write();

    BufferedStream stream;
    TraceRecordWriter writer;
    std::vector<std::uint8_t> record;
};

} // namespace rksignal
