/// \file
/// What a received frame does to its signals, flattened for the receive path.
///
/// A decoder's table gives the list of signals of a frame. Following each of them through its object, its
/// definition and its virtual `write` touches many cache lines a signal, so the decoders compile the list
/// once into an array of half a line a signal. The list stays the truth: a program is used only while no
/// signal has been built, destroyed or re-initialised since, and, where a client may have changed the list,
/// while it names exactly the signals of the list, in order. Public members of a signal that are changed
/// behind its back are seen after the next `cInit`.
#pragma once

#include "signal/BaseSignal.h"
#include "signal/BitField.h"
#include "signal/FrameTable.h"

#include <algorithm>
#include <cstdint>
#include <typeinfo>
#include <vector>

/// Writes one signal of a frame. Does what the virtual `BaseSignal::write` does, without its debug lines, for
/// the common signal: one whose class overrides nothing and whose field lies wholly in the 8 bytes written.
class FieldWriter {
  public:
    /// What a bus needs to know besides; the meaning of `traits` is the bus's own, 0 being the plain case.
    struct Place {
        std::uint16_t startByte = 0;
        std::uint8_t numBytes = 0;
        std::uint8_t traits = 0;
    };

    /// `writesAsBase`: the dynamic class of the signal is known to write as `BaseSignal` does.
    FieldWriter(BaseSignal& signal, bool writesAsBase, const Place& place)
        : signal(&signal), slot(signal.slot), id(signal.id), place(place), bigEndian(signal.def.endian),
          isSigned(signal.def.type == signalValue_t::Signed), shared(signal.shmem) {
        const auto wordField = bitfield::wordField(signal.d_lsbBit, signal.def.bits, signal.def.endian);
        direct = writesAsBase && wordField.has_value();
        field = wordField.value_or(bitfield::WordField{});
    }

    /// Whether `store` may be used instead of the signal's virtual `write`.
    bool isDirect() const { return direct; }

    /// Stores the field from the payload's first 8 bytes, given with byte 0 least significant.
    /// REQUIRES: `isDirect()` and `BaseSignal::debug` is 0.
    void store(std::uint64_t payload, std::uint64_t timestamp) const {
        const std::uint64_t raw = field(bigEndian ? bitfield::swapped(payload) : payload, isSigned);
        if (shared) {
            signal->lock();
        }
        signal->modified = slot->raw != raw;
        slot->raw = raw;
        slot->timestamp = timestamp;
        slot->valid = 1;
        if (shared) {
            signal->unlock();
        }
    }

    BaseSignal* signal;
    signalSlot_t* slot;
    std::uint64_t id;
    Place place;

  private:
    bitfield::WordField field;
    bool bigEndian : 1;
    bool isSigned : 1;
    bool shared : 1;
    bool direct : 1;
};

static_assert(sizeof(FieldWriter) == 32, "two signals a cache line");

/// The compiled form of one frame's list of signals.
class FrameProgram {
  public:
    /// The program of an entry of a frame table, compiled if there is none or it is out of date.
    /// `compile(Signal&) -> FieldWriter`. Allocates only then.
    template <class Signal, class Compile>
    static FrameProgram& of(typename FrameTable<Signal>::Frame& frame, const FrameTable<Signal>& table,
                            Compile&& compile) {
        if (frame.program == nullptr) [[unlikely]] {
            frame.program.reset(new FrameProgram());
        }
        FrameProgram& program = *frame.program;
        const std::uint64_t latest = table.changes().latest();
        if (program.generation != latest || (frame.isOpen() && !program.names(frame.signals())))
            [[unlikely]] {
            program.rebuild(frame.signals(), compile);
            program.generation = latest;
        }
        return program;
    }

    const std::vector<FieldWriter>& fields() const { return writers; }

  private:
    /// Whether the writers are those of `signals`.
    template <class Signal>
    bool names(const std::vector<Signal*>& signals) const {
        return std::equal(
            writers.begin(), writers.end(), signals.begin(), signals.end(),
            [](const FieldWriter& writer, const Signal* signal) { return writer.signal == signal; });
    }

    template <class Signal, class Compile>
    [[gnu::noinline]] void rebuild(const std::vector<Signal*>& signals, Compile&& compile) {
        writers.clear();
        writers.reserve(signals.size());
        for (Signal* signal : signals) {
            writers.push_back(compile(*signal));
        }
    }

    std::vector<FieldWriter> writers;
    std::uint64_t generation = 0; // never current
};

/// Whether `signal` is exactly a `Class`, so that none of its operations is overridden.
template <class Class>
bool isExactly(const Class& signal) {
    return typeid(signal) == typeid(Class);
}

/// Whether the `numBytes` bytes that a signal is written from hold its whole field, as they do unless a
/// client has changed the one without the other. Bytes behind them count as zero.
inline bool rangeHoldsField(const BaseSignal& signal, int numBytes) {
    const int highestByte = signal.def.endian ? signal.d_startByte : signal.d_startByte + signal.d_bytes - 1;
    return highestByte < numBytes;
}
