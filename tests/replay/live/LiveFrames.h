/// \file
/// What a live source gives, as lines without their times.
#pragma once

#include "live/LiveSource.h"
#include "support/FrameListing.h"

#include <chrono>
#include <sstream>
#include <string>

namespace rksignal {

/// Now, in nanoseconds since 1970-01-01 UTC.
inline std::uint64_t wallTime() {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                          std::chrono::system_clock::now().time_since_epoch())
                                          .count());
}

/// Lists frames as FrameListing does. Closes after a number of messages.
class LiveFrames : public FrameListing {
  public:
    explicit LiveFrames(std::size_t most = ~std::size_t{0}) : FrameListing(text), left(most) {}

    using FrameListing::receive;
    void receive(const CANExtTraceMessage& frame) override {
        --left;
        FrameListing::receive(frame);
    }
    bool closed() const override { return left == 0; }
    void open(std::size_t most) { left = most; }

    /// What has come since the last call; each line without its time.
    std::string take() {
        std::istringstream lines(text.str());
        text.str("");
        std::string all;
        for (std::string line; std::getline(lines, line);) {
            latest = std::stoull(line);
            all += line.substr(line.find(' ') + 1) + '\n';
        }
        return all;
    }
    std::uint64_t latestTime() const { return latest; } ///< of what take() gave

  private:
    std::ostringstream text;
    std::size_t left;
    std::uint64_t latest = 0;
};

/// `messages, lost, damaged`
inline std::string countsOf(const LiveSource& source) {
    const LiveCounts counts = source.counts();
    return std::to_string(counts.messages) + ", " + std::to_string(counts.lost) + ", " +
           std::to_string(counts.damaged);
}

} // namespace rksignal
