/// \file
/// The signals by which a running logger is told what to do.
#pragma once

#include "command/SignalHandlers.h"
#include "live/LiveLoop.h"

#include <optional>

namespace rksignal {

/// While an object exists, the first SIGINT or SIGTERM stops the loop, and the logger ends in order; the
/// second one ends the program at once. SIGHUP asks for a reload. Signals that were ignored, as by `nohup`,
/// stay so. There can be one object at a time.
class LiveSignals {
  public:
    /// `loop` must outlive the object.
    explicit LiveSignals(LiveLoop& loop);
    ~LiveSignals();
    LiveSignals(const LiveSignals&) = delete;
    LiveSignals& operator=(const LiveSignals&) = delete;

    /// Whether SIGHUP has come since the last call.
    static bool takeReload();
    /// Whether a signal has stopped the loop.
    static bool stopped();

  private:
    std::optional<SignalHandlers> handlers;
};

} // namespace rksignal
