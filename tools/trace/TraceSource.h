/// \file
/// A trace, whatever its format, read message by message.
#pragma once

#include "trace/TraceReceiver.h"

#include <cstdint>
#include <string>
#include <vector>

namespace rksignal {

/// What a trace holds that could not be used.
struct TraceDamage {
    std::uint64_t malformed = 0;    ///< lines or places that could not be understood
    std::uint64_t dropped = 0;      ///< frames that the recorder says it lost
    std::vector<std::string> texts; ///< the first malformed ones, as `FILE:LINE: reason` or the like
};

/// An open trace. Takes constant memory, whatever its length, and allocates nothing a message once its
/// buffers have grown.
class TraceSource {
  public:
    virtual ~TraceSource() = default;
    TraceSource(const TraceSource&) = delete;
    TraceSource& operator=(const TraceSource&) = delete;

    /// Goes on to the next message that can be understood. \return false at the end
    /// \throws std::system_error if reading fails; the text names the file
    virtual bool next() = 0;

    /// Of the message, in nanoseconds since 1970-01-01 UTC. REQUIRES here and below: next() returned true.
    virtual std::uint64_t timestamp() const = 0;
    /// Hands the message over, with `time` for its time stamp.
    virtual void deliver(TraceReceiver& receiver, std::uint64_t time) = 0;

    virtual std::uint64_t position() const = 0; ///< bytes taken from the file so far
    virtual std::uint64_t size() const = 0;     ///< of the file; 0 if it is not known, as for a pipe
    const TraceDamage& damage() const { return found; }

  protected:
    TraceSource() = default;

    TraceDamage found;
};

} // namespace rksignal
