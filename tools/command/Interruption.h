/// \file
/// Ctrl-C, and how a command ends then.
#pragma once

#include <csignal>
#include <vector>

namespace rksignal {

/// While an object exists, the first SIGINT, SIGTERM or SIGHUP ends the traces that are read, and the
/// command concludes as at their end. The second one ends the program at once; no incomplete file is left.
/// Signals that were ignored, as by `nohup`, stay so. There can be one object at a time.
class Interruption {
  public:
    /// \throws std::system_error
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Whether a signal has come.
    bool isRequested() const;
    /// Waits until `descriptor` can be read without waiting. \throws InputStopped once a signal has come
    void await(int descriptor) const;

  private:
    struct Former {
        int signal;
        struct sigaction action;
    };

    std::vector<Former> former;
};

} // namespace rksignal
