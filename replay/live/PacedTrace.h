/// \file
/// A recorded drive as a live source.
#pragma once

#include "live/LiveSource.h"
#include "trace/Trace.h"

#include <functional>
#include <memory>
#include <string>

namespace rksignal {

struct Pace {
    double speed = 1;    ///< 2: twice as fast as it was recorded; above 0
    bool isLoop = false; ///< from the beginning again, without end
};

/// The messages of traces at the pace at which they were recorded. Their time stamps are moved: the first
/// message is of now, and each has the time at which it is due, so distances shrink as the speed grows. Those
/// of one trace that lie a little before others keep their distance.
///
/// A step of more than an hour forwards, or ten seconds back, is taken for a clock that was set: the message
/// follows the one before after the mean distance of messages. So does the first message of the next round.
///
/// Messages that are late, because the process was held up or the sink is slow, are made up for within a
/// second. Whoever is later than that does not get all that was missed at once: everything further is moved
/// by the delay, and delays() counts it.
///
/// For files: reading from a pipe waits for it.
class RKREPLAY_EXPORT PacedTrace final : public LiveSource {
  public:
    /// `open` gives the traces, again for each round. REQUIRES: pace.speed > 0 \throws Error as `open` does
    PacedTrace(std::string name, std::function<Trace()> open, const Pace& pace = {});
    ~PacedTrace() override;

    std::optional<std::uint64_t> due() const override;
    /// \throws SourceError if a trace cannot be read, or not be opened again
    void read(MessageSink& sink) override;
    bool ended() const override;
    /// Of all rounds.
    LiveCounts counts() const override;

    /// Of this round: its traces and their reports.
    const Trace& trace() const;
    std::uint64_t rounds() const;  ///< begun
    std::uint64_t delays() const;  ///< times that everything further was moved
    std::uint64_t delayed() const; ///< nanoseconds by which it was moved, in all

  private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace rksignal
