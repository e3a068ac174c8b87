/// \file
/// How a command that runs until it is told to stop is told.
#pragma once

#include "command/SignalHandlers.h"

#include <optional>

namespace rksignal {

/// While an object exists, the first SIGINT or SIGTERM asks the command to conclude. The second one ends the
/// program at once. Signals that were ignored, as by `nohup`, stay so. There can be one object at a time.
class StopRequest {
  public:
    StopRequest();
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;

    static bool isMade();

  private:
    std::optional<SignalHandlers> handlers;
};

} // namespace rksignal
