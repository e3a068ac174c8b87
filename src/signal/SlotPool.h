/// \file
/// Where signals keep their private slots: side by side, in the order in which the signals are built.
///
/// The signals of a frame are built one after another, so what a frame writes lies together: a few cache
/// lines in a row, which the processor fetches ahead, instead of two distant ones a signal.
#pragma once

#include "signal/SignalSlot.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <type_traits>

/// A private slot, and beside its raw value and time stamp the mark that every write sets too.
struct PrivateSlot {
    signalSlot_t slot;
    bool modified = false;

    /// The record of a private slot.
    static PrivateSlot& of(signalSlot_t& slot) { return reinterpret_cast<PrivateSlot&>(slot); }
};

static_assert(std::is_standard_layout_v<PrivateSlot> && std::is_trivially_destructible_v<PrivateSlot>);
static_assert(sizeof(PrivateSlot) == 112);

/// A pool of records, in chunks of the size of a huge page. A chunk hands out its free record with the lowest
/// address first. A full one is made one huge page, if the system has one to give, so that large sets of
/// signals do not wait for page tables; until then a chunk takes the pages that were used. An empty one goes
/// back to the system, unless hardly any of it was ever used.
///
/// Threads: all operations lock. The pools are there before any signal and after every signal: nothing
/// constructs or destroys them. With AddressSanitizer a free record is poisoned.
class SlotPool {
  public:
    /// Of the slots that signals keep their values in.
    static SlotPool& inUse();
    /// Of those that shared signals and mirrors have without using them.
    static SlotPool& spare();

    /// A record with everything zero. Its address stays until it is given back. Throws `std::bad_alloc`.
    PrivateSlot& take();
    /// Back to the pool that it came from. Nobody may use it any more.
    static void giveBack(PrivateSlot& record);

    constexpr SlotPool() = default;
    SlotPool(const SlotPool&) = delete;
    SlotPool& operator=(const SlotPool&) = delete;

  private:
    struct Chunk;

    void link(Chunk& chunk);
    void unlink(Chunk& chunk);
    void release(Chunk& chunk);

    std::mutex mutex;
    Chunk* withRoom = nullptr; // those with a free record, linked both ways
};
