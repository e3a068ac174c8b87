/// \file
/// Writing a private slot, which one decoder alone writes.
#pragma once

#include "signal/SignalSlot.h"

#include <cstdint>

namespace rksignal {

/// As BaseSignal::writeRaw() does without a lock; `modified` is that of the signal.
inline void writePrivate(signalSlot_t& slot, bool& modified, std::uint64_t raw, std::uint64_t timestamp) {
    modified = slot.raw != raw;
    slot.raw = raw;
    slot.timestamp = timestamp;
    slot.valid = 1;
}

} // namespace rksignal
