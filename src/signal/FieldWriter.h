/// \file
/// Storing one signal of a received frame without going through its object's virtual interface.
#pragma once

#include "signal/BaseSignal.h"
#include "signal/BitField.h"
#include "signal/PrivateField.h"

#include <cstdint>

/// Where a bus finds the bytes of a signal: what its decoder has to know beyond the field itself.
struct FieldPlace {
    bool wholeFrame = false;  ///< the first 8 bytes of the frame; else a byte range of it
    bool conditional = false; ///< the frame's content says where the range begins, or whether it is there
    bool selects = false;     ///< further signals follow from its value
    std::uint8_t numBytes = 0;
    std::uint16_t startByte = 0; ///< of the range, from where the bus has it begin
    std::uint8_t search = 0;     ///< what a conditional signal depends on: `updateBit`, or a chain of the bus
    std::uint32_t sought = 0;    ///< which: an update bit, the identifier of a PDU or message

    static constexpr std::uint8_t updateBit = 255;

    /// Behind the last byte of the range.
    std::uint32_t end() const { return std::uint32_t{startByte} + numBytes; }
    /// Whether the frame's length alone says if the signal is there.
    bool isPlain() const { return !conditional && !selects; }
};

/// Writes one signal of a frame. Does what the virtual `BaseSignal::write` does, without its debug lines, for
/// the common signal: one whose class overrides nothing and whose field lies wholly in the 8 bytes written.
class FieldWriter {
  public:
    /// `writesAsBase`: the dynamic class of the signal is known to write as `BaseSignal` does.
    FieldWriter(BaseSignal& signal, bool writesAsBase, const FieldPlace& place)
        : signal(&signal), slot(signal.slot), place(place), bigEndian(signal.def.endian),
          isSigned(signal.def.type == signalValue_t::Signed), shared(signal.shmem) {
        const auto wordField = bitfield::wordField(signal.d_lsbBit, signal.def.bits, signal.def.endian);
        direct = writesAsBase && wordField.has_value() && (place.wholeFrame || rangeHoldsField());
        field = wordField.value_or(bitfield::WordField{});
    }

    /// Whether `store` may be used instead of the signal's virtual `write`.
    bool isDirect() const { return direct; }
    bool isShared() const { return shared; }

    /// Stores the field from 8 bytes, given with byte 0 least significant.
    /// REQUIRES: `isDirect()` and `BaseSignal::debug` is 0.
    void store(std::uint64_t bytes, std::uint64_t timestamp) const {
        store(bytes, bitfield::swapped(bytes), timestamp, shared);
    }

    /// The same where the caller has the 8 bytes in the opposite order too and knows whether the slot is
    /// shared.
    void store(std::uint64_t bytes, std::uint64_t swapped, std::uint64_t timestamp, bool isShared) const {
        const std::uint64_t raw = field(bigEndian ? swapped : bytes, isSigned);
        if (isShared) {
            lock();
        }
        signal->modified = slot->raw != raw;
        slot->raw = raw;
        slot->timestamp = timestamp;
        if (slot->valid != 1) { // mostly read only: it lies on a cache line of its own
            slot->valid = 1;
        }
        if (isShared) {
            unlock();
        }
    }

    /// Whether the signal keeps its value in its own private slot, with the mark beside it that says whether
    /// the last write changed it: then a write needs nothing of the signal's object.
    bool hasOwnRecord() const {
        return !shared && slot == &signal->privateSlot &&
               &signal->modified == &PrivateSlot::of(*slot).modified;
    }
    /// REQUIRES: `isDirect()` and `hasOwnRecord()`.
    PrivateField privateField() const {
        return {isSigned ? ~std::uint64_t{0} : ~std::uint64_t{0} >> field.right,
                slot,
                field,
                bigEndian,
                place.selects,
                place.startByte};
    }

    BaseSignal* signal;
    signalSlot_t* slot;
    FieldPlace place;

  private:
    void lock() const {
        if (const int result = slotmutex::tryLock(slot->mutex); result != 0) [[unlikely]] {
            signal->keepTryingToLock(result);
        }
    }
    void unlock() const {
        if (const int result = slotmutex::unlock(slot->mutex); result != 0) [[unlikely]] {
            signal->reportUnlock(result);
        }
    }

    /// Whether the byte range holds the whole field, as it does unless a client has changed the one without
    /// the other. Bytes behind the range count as zero.
    bool rangeHoldsField() const {
        const int highestByte =
            signal->def.endian ? signal->d_startByte : signal->d_startByte + signal->d_bytes - 1;
        return highestByte < place.numBytes;
    }

    bitfield::WordField field;
    bool bigEndian : 1;
    bool isSigned : 1;
    bool shared : 1;
    bool direct : 1;
};

static_assert(sizeof(FieldWriter) == 32, "two signals a cache line");
