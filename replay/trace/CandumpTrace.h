/// \file
/// candump logs as traces.
#pragma once

#include "trace/CandumpLine.h"
#include "trace/ChannelMap.h"
#include "trace/LineTrace.h"

namespace rksignal {

/// The frames of a candump log, see CandumpLine. Interface names become channels.
class CandumpTrace : public LineTrace {
  public:
    /// `channels` must outlive the trace.
    CandumpTrace(std::unique_ptr<InputFile> file, ChannelMap& channels)
        : LineTrace(std::move(file)), channels(channels) {}

    bool next() override;

  private:
    void deliver(MessageSink& sink, std::uint64_t time) override;
    const char* read(std::string_view text);

    ChannelMap& channels;
    CandumpLine line;
};

} // namespace rksignal
