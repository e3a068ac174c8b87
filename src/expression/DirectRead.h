/// \file
/// Reads the value of a signal without going through its object's virtual interface.
#pragma once

#include "expression/Operations.h"
#include "signal/BaseSignal.h"

#include <atomic>
#include <bit>
#include <cstdint>

namespace directread {

/// Whether the signal's class reads as `BaseSignal` does: it does not override `read` of a physical value.
bool readsAsBase(const BaseSignal& signal);

/// Under the slot's lock, as `BaseSignal::read`.
double readShared(BaseSignal& signal);

/// What `BaseSignal::read` makes of the slot's raw value; keeps it in the signal, too.
inline double physicalOf(BaseSignal& signal, const signalSlot_t& slot) {
    const std::uint64_t raw = slot.raw;
    double number = 0.0;
    if (signal.def.type == signalValue_t::Unsigned) [[likely]] {
        number = static_cast<double>(raw);
    } else if (signal.def.type == signalValue_t::Signed) {
        number = static_cast<double>(static_cast<std::int64_t>(raw));
    } else {
        return signal.physical();
    }
    return signal.value = number * signal.def.scale + signal.def.offset;
}

/// The value; NaN if there is none. REQUIRES: readsAsBase(signal) and `BaseSignal::debug` is 0
inline double read(BaseSignal& signal) {
    if (signal.shmem) {
        return readShared(signal);
    }
    const signalSlot_t& slot = *signal.slot;
    const double value = physicalOf(signal, slot);
    return slot.valid != 0 ? value : operation::unknown;
}

} // namespace directread
