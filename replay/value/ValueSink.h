/// \file
/// Who follows a replay.
#pragma once

#include "definition/SignalKind.h"
#include "text/Export.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace rksignal {

/// Where a message came from.
struct MessageOrigin {
    std::optional<std::uint8_t> channel; ///< of its bus; the logger's own inputs have none
    SignalKind kind = SignalKind::Can;
};

struct MessageInfo {
    std::uint64_t timestamp = 0; ///< nanoseconds since 1970-01-01 UTC
    MessageOrigin origin;
};

/// What follows the values while they are decoded. All calls come from the thread that replays, within
/// Replay::run() or Replay::receive(); an exception ends that call and goes on to its caller.
class RKREPLAY_EXPORT ValueSink {
  public:
    virtual ~ValueSink();

    /// Called for each message of a trace, of whatever kind, before anything else is done with it. Times may
    /// go back: interfaces are recorded side by side, and clocks are set.
    virtual void reached(std::uint64_t /*timestamp*/) {}

    /// Called when the replay has added signals at the end of Catalog::signals(), before anything else is
    /// said of them: instances for a further sender of a parameter group (SAE J1939).
    virtual void signalsAdded() {}

    /// Called once for each definition, or trace source, that decoded the message, with the identifiers of
    /// the signals it has just written; their values are read from the signals.
    virtual void written(const MessageInfo& message, std::span<const unsigned long> ids) = 0;

    /// Called in place of written() when a frame of CAN has written all signals of its message, as most do:
    /// `ids` are those of the message with this index in Catalog::messages(), the same ones each time. Who
    /// does the same for each frame can prepare it once for each message.
    virtual void writtenWhole(const MessageInfo& message, std::size_t /*number*/,
                              std::span<const unsigned long> ids) {
        written(message, ids);
    }

    /// The message has taken the values of these signals away, as a GPS receiver without a fix does.
    virtual void withdrawn(const MessageInfo& /*message*/, std::span<const unsigned long> /*ids*/) {}

    /// Called after everything that the message matches has decoded it.
    virtual void decoded(const MessageInfo& /*message*/) {}

    /// Whether no further values are wanted: the replay ends.
    virtual bool closed() const { return false; }
};

} // namespace rksignal
