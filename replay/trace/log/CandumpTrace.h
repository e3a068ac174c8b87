/// \file
/// candump logs as traces.
#pragma once

#include "trace/ChannelMap.h"
#include "trace/log/CandumpLine.h"
#include "trace/log/CandumpScreen.h"
#include "trace/log/LineTrace.h"

namespace rksignal {

/// The frames of a candump log, see CandumpLine, or of what candump shows, see CandumpScreen. Interface names
/// become channels.
class CandumpTrace : public LineTrace {
  public:
    /// `channels` must outlive the trace.
    CandumpTrace(std::unique_ptr<InputFile> file, ChannelMap& channels)
        : LineTrace(std::move(file)), channels(channels), screen(input()) {}

    bool next() override;

  private:
    void deliver(MessageSink& sink, std::uint64_t time) override;
    void completeReport() override;
    const char* read(std::string_view text);

    ChannelMap& channels;
    CandumpScreen screen;
    CandumpLine line;
};

} // namespace rksignal
