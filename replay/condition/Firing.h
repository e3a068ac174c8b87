/// \file
/// A condition that fires.
#pragma once

#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace rksignal {

struct Firing {
    std::size_t trigger;                 ///< index in the TriggerSet
    std::uint64_t timestamp;             ///< of the message, or of the end of a time-out
    std::optional<MessageOrigin> origin; ///< of the message; none after a time-out
};

/// Who is told of firings. The signals still have the values that made the condition fire.
class FiringSink {
  public:
    virtual ~FiringSink() = default;
    virtual void fired(const Firing& firing) = 0;
};

} // namespace rksignal
