/// \file
/// candump logs as traces.
#pragma once

#include "signal/PlainPaths.h"
#include "trace/ChannelMap.h"
#include "trace/log/CandumpLine.h"
#include "trace/log/CandumpScreen.h"
#include "trace/log/CandumpShape.h"
#include "trace/log/LineTrace.h"

#include <cstdint>
#include <string_view>

namespace rksignal {

/// The frames of a candump log, see CandumpLine, or of what candump shows, see CandumpScreen. Interface names
/// become channels.
class CandumpTrace : public LineTrace {
  public:
    /// `channels` must outlive the trace.
    CandumpTrace(std::unique_ptr<InputFile> file, ChannelMap& channels)
        : LineTrace(std::move(file)), channels(channels), screen(input()) {}

    /// Whether each line stands for itself: the first ones are those of a log, not of the screen, and name
    /// interfaces that have a channel whatever comes before. \param first lines, the last perhaps in part
    static bool isDivisible(std::string_view first, const ChannelMap& channels);

    /// The file holds some lines of a log, from this byte of it on. REQUIRES: next() has not been called.
    void isPartFrom(std::uint64_t byte) {
        isPart = true;
        countFrom(byte);
    }

    bool next() override;
    void handOverAhead(MessageSink& sink) override;

  private:
    void deliver(MessageSink& sink, std::uint64_t time) override;
    void completeReport() override;
    bool readShape();
    const char* read(std::string_view text);

    ChannelMap& channels;
    CandumpScreen screen;
    CandumpShape shape;
    bool knowsShape = !fastPathsOff(); ///< else all lines are read the plain way
    CandumpLine line;
    bool isPart = false; ///< what depends on lines before it cannot be read
};

} // namespace rksignal
