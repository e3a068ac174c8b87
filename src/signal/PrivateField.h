/// \file
/// Storing a signal of the common kind: one of a frame whose signals all have private slots and fixed places.
#pragma once

#include "signal/BitField.h"
#include "signal/SlotPool.h"

#include <atomic>
#include <cstdint>

/// The short form of a FieldWriter: all that such a write needs, without a branch on the kind of field.
struct PrivateField {
    std::uint64_t mask; ///< of an unsigned value; all ones for a signed one, which is extended already
    signalSlot_t* slot;
    bitfield::WordField field;
    bool bigEndian;
    bool selects;            ///< further signals follow from its value
    std::uint16_t startByte; ///< of a byte range; 0 for a signal of the whole frame

    /// The field of a byte range as one of the 8 bytes that ranges count from. REQUIRES: it ends within them.
    PrivateField inWordOfRanges() const {
        PrivateField moved = *this;
        const int before = 8 * startByte; // bits that lie before the range
        moved.field.left = static_cast<std::uint8_t>(bigEndian ? field.left + before : field.left - before);
        moved.startByte = 0;
        return moved;
    }

    /// Stores the field from the 8 bytes that hold it, taken in its byte order.
    void store(std::uint64_t word, std::uint64_t timestamp) const {
        signalSlot_t& own = *slot;
        const std::uint64_t raw = field(word, /*isSigned=*/true) & mask;
        PrivateSlot::of(own).modified = raw != own.raw;
        own.raw = raw;
        std::atomic_signal_fence(std::memory_order_release); // two stores cost less than one of a vector
        own.timestamp = timestamp;
        if (own.valid != 1) [[unlikely]] { // mostly read only
            own.valid = 1;
        }
    }
};

static_assert(sizeof(PrivateField) == 24);
