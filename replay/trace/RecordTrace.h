/// \file
/// Files of raw trace records as traces.
#pragma once

#include "rktrace/TraceRecord.h"
#include "trace/TraceSource.h"

#include <istream>
#include <streambuf>

namespace rksignal {

/// The records of a record file (`.rktrace`). Those that come through a pipe are there
/// as soon as they are whole.
class RecordTrace : public TraceSource {
  public:
    /// \throws Error if the file is of another version
    explicit RecordTrace(std::unique_ptr<InputFile> file);

    bool next() override;
    std::uint64_t recordNumber() const override { return number; }
    void countRefused(std::uint64_t refused) override;

  private:
    void deliver(MessageSink& sink, std::uint64_t time) override;
    void completeReport() override;
    /// Gives the bytes of the file to a stream.
    class StreamBuffer : public std::streambuf {
      public:
        explicit StreamBuffer(InputFile& file) : file(file) {}

      protected:
        /// What is there, at least one byte: the records of a pipe need not wait for a full block.
        std::streamsize xsgetn(char* to, std::streamsize count) override {
            return static_cast<std::streamsize>(file.read(to, static_cast<std::size_t>(count)));
        }

      private:
        InputFile& file;
    };

    StreamBuffer buffer;
    std::istream stream;
    TraceRecordReader reader;
    std::uint64_t number = 0;       ///< of the record, from 1
    std::uint64_t firstDamaged = 0; ///< number of the first that is none
};

} // namespace rksignal
