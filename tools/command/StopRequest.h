/// \file
/// How a command that runs until it is told to stop is told.
#pragma once

#include <csignal>
#include <vector>

namespace rksignal {

/// While an object exists, the first SIGINT or SIGTERM asks the command to conclude. The second one ends the
/// program at once. Signals that were ignored, as by `nohup`, stay so. There can be one object at a time.
class StopRequest {
  public:
    StopRequest();
    ~StopRequest();
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;

    static bool isMade();

  private:
    struct Former {
        int signal;
        struct sigaction action;
    };

    std::vector<Former> former;
};

} // namespace rksignal
