/// \file
/// Storing a signal of the common kind: one of a frame whose signals all have private slots and fixed places.
#pragma once

#include "signal/BitField.h"
#include "signal/SlotPool.h"

#include <atomic>
#include <cstdint>
#include <span>

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

    /// Stores the field from the 8 bytes that hold it, byte 0 least significant. No branch: which fields are
    /// big-endian is no pattern that a processor learns.
    void storeAnyOrder(std::uint64_t word, std::uint64_t timestamp) const { store(inOrder(word), timestamp); }
    /// These 8 bytes in the byte order of the field.
    std::uint64_t inOrder(std::uint64_t word) const {
        const std::uint64_t difference = word ^ bitfield::swapped(word);
        return word ^ (difference & -std::uint64_t{bigEndian});
    }
    /// Stores the field from the 8 bytes that hold it, taken in its byte order.
    void store(std::uint64_t word, std::uint64_t timestamp) const { storeIn(*slot, word, timestamp); }
    /// Does so if `isThere`, without a branch on that: what is not there is stored in a slot that nobody
    /// looks at. Only its own slot is read, so that no load has to wait for a store that is perhaps to the
    /// same one.
    void storeIf(bool isThere, std::uint64_t word, std::uint64_t timestamp, signalSlot_t& nobodys) const {
        storeIn(isThere ? *slot : nobodys, word, timestamp);
    }

  private:
    void storeIn(signalSlot_t& to, std::uint64_t word, std::uint64_t timestamp) const {
        const signalSlot_t& own = *slot;
        const std::uint64_t raw = field(word, /*isSigned=*/true) & mask;
        PrivateSlot::of(to).modified = raw != own.raw;
        to.raw = raw;
        std::atomic_signal_fence(std::memory_order_release); // two stores cost less than one of a vector
        to.timestamp = timestamp;
        if (own.valid != 1) [[unlikely]] { // mostly read only
            to.valid = 1;
        }
    }
};

static_assert(sizeof(PrivateField) == 24);

/// Stores fields that all lie in one word.
inline void storeWord(std::span<const PrivateField> fields, std::uint64_t word, std::uint64_t timestamp) {
    const std::uint64_t inOrder[2] = {word, bitfield::swapped(word)};
    for (const PrivateField& field : fields) {
        field.store(inOrder[field.bigEndian ? 1 : 0], timestamp);
    }
}
