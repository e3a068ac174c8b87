/// \file
/// What a received frame does to its signals, flattened for the receive path.
///
/// A decoder's table gives the list of signals of a frame. Following each of them through its object, its
/// definition and its virtual `write` touches many cache lines a signal, so the decoder compiles the list
/// once into arrays of less than half a line a signal. The list stays the truth: a program is used only while
/// no signal has been built, destroyed or re-initialised since, and, where a client may have changed the
/// list, while it names exactly the signals of the list, in order. Public members of a signal that are
/// changed behind its back are seen after the next `cInit`.
#pragma once

#include "signal/FieldRun.h"
#include "signal/FieldWriter.h"
#include "signal/FrameTable.h"
#include "signal/IdBlocks.h"
#include "signal/PlainPaths.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <type_traits>
#include <typeinfo>
#include <vector>

/// The compiled form of one frame's list of signals: this head, then, if it is of a private form, a short
/// field a signal, then the identifiers of the signals, filled up to whole blocks, then runs and places of a
/// searched form, then the writers, in one block of memory, so that one look-up leads to all of it. What
/// every frame touches comes first.
class FrameProgram {
  public:
    /// Frames that are decoded without a look at each signal's kind: all signals are direct, and all slots
    /// private, or all shared.
    enum class Form : std::uint8_t {
        Mixed,            ///< none of these
        Selecting,        ///< as WholeFrame, but some select further signals
        Searched,         ///< private, in byte ranges, of which some have to be searched
        OtherSearched,    ///< the same with slots of any kind
        WholeFrame,       ///< private, plain, in the first 8 bytes
        SharedWholeFrame, ///< shared, plain, in the first 8 bytes
        RangesInWord,     ///< private, plain, in byte ranges of the first 8 bytes that ranges count from
        Ranges,           ///< private, plain, in byte ranges
        SharedRanges,     ///< shared, plain, in byte ranges
    };

    /// The program of an entry of a frame table, compiled if there is none or it is out of date.
    /// `placeOf(const Signal&) -> FieldPlace`. Allocates only then.
    ///
    /// `anyTwin(key, visit)` calls `visit` with the keys of frames that are likely to have the same list,
    /// until it returns true: then one program serves both.
    template <class Signal, class PlaceOf, class AnyTwin>
    static const FrameProgram& of(typename FrameTable<Signal>::Frame& frame, FrameTable<Signal>& table,
                                  PlaceOf&& placeOf, AnyTwin&& anyTwin) {
        const FrameProgram* const program = frame.program();
        if (program != nullptr && program->isOf(table.changes().latest())) [[likely]] {
            return *program;
        }
        return renewed<Signal>(frame, table, placeOf, anyTwin);
    }

    /// Empty unless the form is a private one.
    std::span<const PrivateField> fields() const { return {firstField(), fieldCount}; }
    /// The identifiers of the signals, in their order.
    std::span<const unsigned long> ids() const {
        return {reinterpret_cast<const unsigned long*>(fields().data() + fieldCount), count};
    }
    /// Empty unless the form is a searched one. Behind the last run stands one that only ends it.
    std::span<const FieldRun> runs() const {
        return {reinterpret_cast<const FieldRun*>(ids().data() + idblocks::roundedUp(count)), runCount};
    }
    /// The places of the signals in their list, in the order of storing, which is that of the fields.
    /// REQUIRES: the form is a searched one.
    std::span<const std::uint32_t> places() const {
        return {reinterpret_cast<const std::uint32_t*>(runs().data() + runCount + 1), count};
    }
    std::span<const FieldWriter> writers() const {
        const auto* const behindIds = reinterpret_cast<const std::byte*>(runs().data());
        return {reinterpret_cast<const FieldWriter*>(behindIds + orderBytes(runCount, count)), count};
    }
    Form form() const { return ownForm; }
    /// Whether it was compiled, from a list that only the library changes, when so many changes were counted.
    bool isOf(std::uint64_t changes) const { return generation == changes; }
    /// What the entry of a frame table keeps of it.
    FrameBrief brief() const;
    /// The fields and identifiers, for who has a brief that is not empty.
    std::span<const PrivateField> fields(FrameBrief brief) const { return {firstField(), brief.count}; }
    const unsigned long* firstId(FrameBrief brief) const {
        return reinterpret_cast<const unsigned long*>(firstField() + brief.count);
    }
    /// Whether it serves several frames, as they are since change number `change`.
    bool isShared(std::uint64_t change) const { return users > 1 && generation == change; }
    /// Behind the last byte of all ranges.
    std::size_t end() const { return rangesEnd; }

  private:
    friend struct FrameProgramDeleter;
    static constexpr std::align_val_t cacheLine{64};
    /// Stands beside the generation of a program whose list a client may have changed: such a program is
    /// never just taken.
    static constexpr std::uint64_t openMark = std::uint64_t{1} << 63;

    FrameProgram() = default;
    const PrivateField* firstField() const { return reinterpret_cast<const PrivateField*>(this + 1); }

    /// The program of a frame that may be out of date or whose list may have changed.
    template <class Signal, class PlaceOf, class AnyTwin>
    [[gnu::noinline]] static const FrameProgram& renewed(typename FrameTable<Signal>::Frame& frame,
                                                         FrameTable<Signal>& table, PlaceOf&& placeOf,
                                                         AnyTwin&& anyTwin) {
        const std::uint64_t wanted = table.changes().latest() | (frame.isOpen() ? openMark : 0);
        if (frame.program() != nullptr && frame.program()->generation == wanted &&
            frame.program()->names(frame.signals())) {
            return *frame.program();
        }
        const auto share = [&frame, &table, wanted](std::uint64_t key) {
            auto* const twin = table.lookup(key);
            const bool serves = twin != nullptr && twin != &frame && twin->program() != nullptr &&
                                twin->program()->generation == wanted && twin->signals() == frame.signals();
            if (serves) {
                ++twin->program()->users;
                frame.keep(twin->program(), twin->brief());
            }
            return serves;
        };
        if (frame.isOpen() || fastPathsOff() || !anyTwin(frame.key(), share)) {
            FrameProgram* const program = compiled(frame.signals(), placeOf);
            program->generation = wanted;
            frame.keep(program, program->brief());
        }
        return *frame.program();
    }

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
    static FrameProgram* compiled(const std::vector<Signal*>& signals, PlaceOf&& placeOf) {
        std::vector<FieldWriter> writers;
        writers.reserve(signals.size());
        const bool plain = fastPathsOff(); // every signal is written through its virtual `write`
        for (Signal* const signal : signals) {
            const bool overridesNothing = typeid(*signal) == typeid(Signal);
            writers.emplace_back(*signal, overridesNothing && !plain, placeOf(*signal));
        }
        return assembled(writers);
    }

    /// What runs and places take, which only searched forms have.
    static constexpr std::size_t orderBytes(std::size_t runs, std::size_t signals) {
        return runs == 0 ? 0 : (runs + 1) * sizeof(FieldRun) + (signals + 1) / 2 * 2 * sizeof(std::uint32_t);
    }

    static FrameProgram* assembled(std::span<const FieldWriter> writers);
    static Form formOf(std::span<const FieldWriter> writers);
    static bool isPrivate(Form form);

    std::uint64_t generation = 0;
    std::uint32_t count = 0;
    std::uint32_t fieldCount = 0;
    std::uint32_t runCount = 0;
    std::uint32_t rangesEnd = 0;
    std::uint32_t users = 1; ///< frames that it serves
    Form ownForm = Form::Mixed;
};

static_assert(std::is_trivially_destructible_v<FieldWriter> &&
              std::is_trivially_destructible_v<FrameProgram>);
