/// \file
/// Ctrl-C, and how a command ends then.
#pragma once

#include "command/SignalHandlers.h"
#include "trace/Trace.h"

#include <optional>

namespace rksignal {

/// While an object exists, the first SIGINT, SIGTERM or SIGHUP stops the traces that are read, and the
/// command concludes as at their end. The second one ends the program at once; no incomplete file is left.
/// Signals that were ignored, as by `nohup`, stay so. There can be one object at a time.
class Interruption {
  public:
    /// `traces` must outlive the object, and stay where it is.
    explicit Interruption(Trace& traces);
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

  private:
    std::optional<SignalHandlers> handlers;
};

} // namespace rksignal
