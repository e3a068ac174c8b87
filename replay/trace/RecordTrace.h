/// \file
/// Files of raw trace records as traces.
#pragma once

#include "rktrace/TraceRecord.h"
#include "trace/TraceSource.h"

#include <istream>
#include <streambuf>

namespace rksignal {

/// The records of a record file (`.rktrace`). A pipe is read in blocks of 256 KB.
class RecordTrace : public TraceSource {
  public:
    /// \throws UsageError if the file is of another version
    explicit RecordTrace(std::unique_ptr<InputFile> file);

    bool next() override;
    void deliver(TraceReceiver& receiver, std::uint64_t time) override;

  private:
    /// Gives the bytes of the file to a stream.
    class StreamBuffer : public std::streambuf {
      public:
        explicit StreamBuffer(InputFile& file) : file(file) {}

        /// Whether the file ended with InputStopped.
        bool isStopped() const { return stopped; }

      protected:
        std::streamsize xsgetn(char* to, std::streamsize count) override;

      private:
        InputFile& file;
        bool stopped = false;
    };

    StreamBuffer buffer;
    std::istream stream;
    TraceRecordReader reader;
};

} // namespace rksignal
