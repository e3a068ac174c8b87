/// \file
/// A condition that fires.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace rksignal {

struct Firing {
    std::size_t trigger;                 ///< index in the TriggerSet
    std::uint64_t timestamp;             ///< of the frame, or of the end of a time-out
    std::optional<std::uint8_t> channel; ///< of the frame; none after a time-out
};

/// Who is told of firings. The signals still have the values that made the condition fire.
class FiringSink {
  public:
    virtual ~FiringSink() = default;
    virtual void fired(const Firing& firing) = 0;
};

} // namespace rksignal
