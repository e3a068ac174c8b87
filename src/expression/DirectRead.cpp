#include "expression/DirectRead.h"

#include <cstddef>
#include <cstring>

/// The table of virtual functions of `BaseSignal`, by the name that the Itanium C++ ABI gives it: the offset
/// to the top, the type, then the functions.
extern "C" const void* const baseSignalTable[] asm("_ZTV10BaseSignal");

namespace directread {

/// Looks whether the place of `read` in the table of virtual functions of the signal's class holds what it
/// holds in that of `BaseSignal`. The Itanium C++ ABI says where a pointer to a virtual member has the place.
bool readsAsBase(const BaseSignal& signal) {
    constexpr std::size_t beforeFunctions = 2;
    bool (BaseSignal::*const member)(double&, unsigned long&) = &BaseSignal::read;
    std::ptrdiff_t placeAndShift[2]; // 1 + the place in bytes, and what to add to `this`
    static_assert(sizeof member == sizeof placeAndShift);
    std::memcpy(placeAndShift, &member, sizeof member);
    const std::size_t index = static_cast<std::size_t>(placeAndShift[0]) / sizeof(void*);
    const void* const* functions = nullptr;
    std::memcpy(&functions, static_cast<const void*>(&signal), sizeof functions);
    return functions[index] == baseSignalTable[beforeFunctions + index];
}

double readShared(BaseSignal& signal) {
    double value = 0.0;
    signalSlot_t& slot = *signal.slot;
    if (slotmutex::tryLock(slot.mutex) == 0) [[likely]] {
        value = physicalOf(signal, slot);
        std::atomic_signal_fence(std::memory_order_acquire); // a slot is cleared without lock, validity first
        const bool isValid = slot.valid != 0;
        if (slotmutex::unlock(slot.mutex) == 0) [[likely]] {
            return isValid ? value : operation::unknown;
        }
    }
    unsigned long timestamp = 0; // waits, or says what is wrong with the lock
    return signal.BaseSignal::read(value, timestamp) ? value : operation::unknown;
}

} // namespace directread
