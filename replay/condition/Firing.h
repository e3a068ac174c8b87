/// \file
/// A condition that fires.
#pragma once

#include "condition/Condition.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace rksignal {

struct Firing {
    std::size_t trigger;                 ///< number of the condition, from 0
    const Condition& condition;          ///< that has become, or is, true
    std::uint64_t number;                ///< which firing of the condition this is, from 1
    std::uint64_t timestamp;             ///< of the message, or of the end of a time-out
    std::optional<MessageOrigin> origin; ///< of the message; none after a time-out
};

/// Who is told of firings.
class RKREPLAY_EXPORT FiringSink {
  public:
    virtual ~FiringSink();

    /// The signals still have the values that made the condition fire.
    virtual void fired(const Firing& firing) = 0;
    /// The condition, which was true when it was last known, is false. `timestamp` as that of a firing.
    virtual void ended(std::size_t /*trigger*/, std::uint64_t /*timestamp*/) {}
    /// Called for each message with the latest time so far, before its values are there.
    virtual void advanced(std::uint64_t /*now*/) {}
    /// The times of the messages have fallen back by more than a second: a clock was set, or another trace
    /// begins. What follows has nothing to do with what came before.
    virtual void clockSetBack() {}
    /// Whether no further firings are wanted.
    virtual bool closed() const { return false; }
};

} // namespace rksignal
