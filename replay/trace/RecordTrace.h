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
    /// \throws Error if the file is of another version
    explicit RecordTrace(std::unique_ptr<InputFile> file);

    bool next() override;

  private:
    void deliver(MessageSink& sink, std::uint64_t time) override;
    /// Gives the bytes of the file to a stream.
    class StreamBuffer : public std::streambuf {
      public:
        explicit StreamBuffer(InputFile& file) : file(file) {}

      protected:
        std::streamsize xsgetn(char* to, std::streamsize count) override;

      private:
        InputFile& file;
    };

    void concludeDamage();

    StreamBuffer buffer;
    std::istream stream;
    TraceRecordReader reader;
    std::uint64_t number = 0;       ///< of the record, from 1
    std::uint64_t firstDamaged = 0; ///< number of the first that is none
    bool isConcluded = false;
};

} // namespace rksignal
