/// \file
/// Reads live sources in turn.
#pragma once

#include "live/LiveSource.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace rksignal {

/// Waits for any number of sources and hands their messages on, by one thread:
///
///     rksignal::LiveLoop loop;
///     loop.add(std::make_unique<rksignal::SocketCanSource>("can0", rksignal::openCan("can0", {}), 0));
///     loop.every(100'000'000, [&] { triggers.checkTimeouts(); });
///     loop.run(replay);                // until a signal handler calls loop.stop()
///
/// Each source that has something gets its turn before any of them gets another one. Messages of different
/// sources come in the order in which they are read, so times may go back a little.
///
/// For one thread, but for stop(). Functions that the loop calls may add sources and functions.
class RKREPLAY_EXPORT LiveLoop {
  public:
    /// \throws Error if the system has no descriptor left
    LiveLoop();
    ~LiveLoop();
    LiveLoop(const LiveLoop&) = delete;
    LiveLoop& operator=(const LiveLoop&) = delete;

    void add(std::unique_ptr<LiveSource> source);
    /// In the order of adding, also those that have ended or are broken.
    std::span<const std::unique_ptr<LiveSource>> sources() const;
    /// Whether it has thrown SourceError, and is not read any more. REQUIRES: `source` is one of sources()
    bool isBroken(const LiveSource& source) const;

    /// Calls `function` as often, the first time when so many nanoseconds have passed. Times that were missed
    /// are left out. REQUIRES: nanoseconds > 0
    void every(std::uint64_t nanoseconds, std::function<void()> function);

    /// Is told of a source that breaks, while others go on. Without it, the SourceError ends run().
    void onBroken(std::function<void(const LiveSource&, const SourceError&)> function);

    /// Hands messages to `sink` until stop(), until the sink is closed, or until there is no source that has
    /// not ended and is not broken. Can be called again. \throws SourceError; what the sink and functions
    /// throw
    void run(MessageSink& sink);

    /// Ends run(), or the next one: the messages that are being read are the last ones. For any thread and
    /// for signal handlers.
    void stop() noexcept;

  private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace rksignal
