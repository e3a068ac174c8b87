/// \file
/// Counts the changes after which what a decoder has worked out about its signals is out of date.
#pragma once

#include "signal/Export.h"

#include <cstdint>

/// Counts the building, re-initialising and destroying of signals. Whoever keeps something that follows from
/// signals keeps the count beside it, and works it out anew when the two differ. Not locked: counted where
/// signals are built and destroyed, read where they are decoded.
class ChangeCounter {
  public:
    /// To be called after a change.
    void count() { ++changes; }
    /// The number of changes so far; never 0.
    std::uint64_t latest() const { return changes; }

    /// The counter of every table that is not given another one.
    RKSIGNAL_EXPORT static ChangeCounter& classWide();

  private:
    std::uint64_t changes = 1;
};
