/// \file
/// ASC logs as traces.
#pragma once

#include "trace/AscLine.h"
#include "trace/LineTrace.h"

namespace rksignal {

/// The LIN and classic CAN frames of an ASC log, see AscLineReader.
class AscTrace : public LineTrace {
  public:
    explicit AscTrace(std::unique_ptr<InputFile> file) : LineTrace(std::move(file)) {}

    bool next() override;

  private:
    void deliver(MessageSink& sink, std::uint64_t time) override;
    AscLineReader reader;
    AscLineReader::Result kind = AscLineReader::Result::Nothing;
};

} // namespace rksignal
