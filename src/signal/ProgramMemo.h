/// \file
/// Programs of frames that come in several cycles, found without a look at the entry of each cycle.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

class FrameProgram;

/// A small memory beside a frame table with an entry for every frame and cycle, most of which share the
/// program of their frame: so large a table is not in the processor's cache, this one is. An entry says for
/// which cycles of a frame a program is the right one. Who changes the table otherwise than by building,
/// destroying or re-initialising a signal empties it. Frames that meet in one entry take turns.
class ProgramMemo {
  public:
    /// The program of a frame in a cycle below 64 if it was noted since change number `change`, or null.
    const FrameProgram* find(std::uint64_t frame, unsigned cycle, std::uint64_t change) const {
        if (entries.empty()) {
            return nullptr;
        }
        const Entry& entry = entries[placeOf(frame)];
        const bool isKnown =
            entry.frame == frame && entry.change == change && (entry.cycles >> cycle & 1) != 0;
        return isKnown ? entry.program : nullptr;
    }

    /// Remembers that, with room for some frames of a table of so many entries. REQUIRES: the program lives
    /// until the next change or `clear`.
    void note(std::uint64_t frame, unsigned cycle, std::uint64_t change, const FrameProgram& program,
              std::size_t tableSize) {
        if (entries.empty()) {
            entries.resize(std::bit_ceil(std::max(tableSize / cyclesEach, std::size_t{2})));
            shift = 64 - std::countr_zero(entries.size());
        }
        Entry& entry = entries[placeOf(frame)];
        if (entry.frame != frame || entry.change != change || entry.program != &program) {
            entry = {frame, 0, change, &program};
        }
        entry.cycles |= std::uint64_t{1} << cycle;
    }

    void clear() { entries.clear(); }

  private:
    static constexpr std::size_t cyclesEach = 8; ///< at least, on average, or frames often take turns

    struct Entry {
        std::uint64_t frame = 0;
        std::uint64_t cycles = 0; ///< bit 0: cycle 0
        std::uint64_t change = 0; ///< never current
        const FrameProgram* program = nullptr;
    };

    std::size_t placeOf(std::uint64_t frame) const { return (frame * 0x9E3779B97F4A7C15) >> shift; }

    std::vector<Entry> entries; ///< none, or a power of two
    int shift = 63;
};
