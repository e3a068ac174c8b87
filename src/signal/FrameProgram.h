/// \file
/// What a received frame does to its signals, flattened for the receive path.
///
/// A decoder's table gives the list of signals of a frame. Following each of them through its object, its
/// definition and its virtual `write` touches many cache lines a signal, so the decoder compiles the list
/// once into an array of half a line a signal. The list stays the truth: a program is used only while no
/// signal has been built, destroyed or re-initialised since, and, where a client may have changed the list,
/// while it names exactly the signals of the list, in order. Public members of a signal that are changed
/// behind its back are seen after the next `cInit`.
#pragma once

#include "signal/FieldWriter.h"
#include "signal/FrameTable.h"
#include "signal/PlainPaths.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <type_traits>
#include <typeinfo>
#include <vector>

/// The compiled form of one frame's list of signals: this head, then the writers, then the identifiers of the
/// signals, in one block of memory, so that one look-up leads to all of it.
class alignas(FieldWriter) FrameProgram {
  public:
    /// Frames that are decoded without a look at each signal's kind: all signals are direct and plain, and
    /// all slots private, or all shared.
    enum class Form : std::uint8_t { Mixed, WholeFrame, Ranges };

    /// The program of an entry of a frame table, compiled if there is none or it is out of date.
    /// `placeOf(const Signal&) -> FieldPlace`. Allocates only then.
    template <class Signal, class PlaceOf>
    static const FrameProgram& of(typename FrameTable<Signal>::Frame& frame, const FrameTable<Signal>& table,
                                  PlaceOf&& placeOf) {
        FrameProgram* const program = frame.program.get();
        if (program == nullptr || program->generation != table.changes().latest() ||
            (frame.isOpen() && !program->names(frame.signals()))) [[unlikely]] {
            frame.program.reset(compiled(frame.signals(), placeOf));
            frame.program->generation = table.changes().latest();
        }
        return *frame.program;
    }

    std::span<const FieldWriter> writers() const {
        return {reinterpret_cast<const FieldWriter*>(this + 1), count};
    }
    /// The identifiers of the signals, in their order.
    std::span<const unsigned long> ids() const {
        return {
            reinterpret_cast<const unsigned long*>(reinterpret_cast<const FieldWriter*>(this + 1) + count),
            count};
    }
    Form form() const { return ownForm; }
    /// Whether the slots of a frame that is not mixed are shared.
    bool isShared() const { return shared; }
    /// Behind the last byte of all ranges.
    std::size_t end() const { return rangesEnd; }

  private:
    friend struct FrameProgramDeleter;
    static constexpr std::align_val_t cacheLine{64};

    FrameProgram() = default;

    /// Whether the writers are those of `signals`.
    template <class Signal>
    bool names(const std::vector<Signal*>& signals) const {
        const auto isOf = [](const FieldWriter& writer, const Signal* signal) {
            return writer.signal == signal;
        };
        const auto own = writers();
        return std::equal(own.begin(), own.end(), signals.begin(), signals.end(), isOf);
    }

    template <class Signal, class PlaceOf>
    [[gnu::noinline]] static FrameProgram* compiled(const std::vector<Signal*>& signals, PlaceOf&& placeOf) {
        const std::size_t size =
            sizeof(FrameProgram) + signals.size() * (sizeof(FieldWriter) + sizeof(unsigned long));
        auto* const program = new (::operator new(size, cacheLine)) FrameProgram;
        program->count = signals.size();
        auto* writer = const_cast<FieldWriter*>(program->writers().data());
        auto* id = const_cast<unsigned long*>(program->ids().data());
        const bool plain = fastPathsOff(); // every signal is written through its virtual `write`
        for (Signal* const signal : signals) {
            const bool overridesNothing = typeid(*signal) == typeid(Signal);
            new (writer++) FieldWriter(*signal, overridesNothing && !plain, placeOf(*signal));
            new (id++) unsigned long(signal->id);
        }
        program->classify();
        return program;
    }

    void classify();

    std::size_t count = 0;
    std::uint64_t generation = 0;
    std::uint32_t rangesEnd = 0;
    Form ownForm = Form::Mixed;
    bool shared = false;
};

static_assert(std::is_trivially_destructible_v<FieldWriter> &&
              std::is_trivially_destructible_v<FrameProgram>);
