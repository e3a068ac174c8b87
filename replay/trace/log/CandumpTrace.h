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
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

    /// Reads blocks of `log`, in a thread of its own. What depends on the lines before is
    /// asked of `log`, after a call of `awaitTurn`, which waits until these have been read.
    CandumpTrace(CandumpTrace& log, std::function<void()> awaitTurn)
        : LineTrace(std::make_unique<InputFile>(std::span<const std::uint8_t>(), log.path(), nullptr)),
          channels(log.channels), whole(&log), awaitTurn(std::move(awaitTurn)) {}
    /// Goes on with whole lines of the log. They must stay until next() has returned false.
    /// \param isFirst whether they are its first ones
    void startBlock(std::string_view lines, bool isFirst);

    /// Forgets what has been read: blocks follow.
    void startBlocks() { found = {}; }
    /// Adds to the report what `block` has met in its block. All blocks before have been added.
    void add(const CandumpTrace& block);
    InputFile& file() { return input(); }

    bool next() override;
    void handOverAhead(MessageSink& sink) override;

  private:
    void deliver(MessageSink& sink, std::uint64_t time) override;
    void completeReport() override;
    bool readShape();
    const char* read(std::string_view text);
    CandumpTrace& inTurn();
    std::optional<std::uint8_t> channelOf(std::string_view interfaceName);

    ChannelMap& channels;
    CandumpScreen screen;
    CandumpShape shape;
    bool knowsShape = !fastPathsOff(); ///< else all lines are read the plain way
    CandumpLine line;
    bool isPart = false; ///< what depends on lines before it cannot be read

    CandumpTrace* whole = nullptr; ///< of blocks; else null
    std::function<void()> awaitTurn;
    std::vector<std::pair<std::string, std::uint8_t>> known; ///< channels that `whole` has told
    std::uint64_t linesBefore = 0; ///< those of all blocks that were added; of a block what they count as
};

} // namespace rksignal
