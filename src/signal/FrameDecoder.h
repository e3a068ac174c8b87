/// \file
/// Decoding a received frame into its signals: the hot path that all buses share.
///
/// A bus says where the bytes of its signals begin; finding out what a frame does to its signals, checking
/// bounds, storing and reporting identifiers is done here.
#pragma once

#include "signal/ByteOrder.h"
#include "signal/Diagnostics.h"
#include "signal/FrameProgram.h"
#include "signal/IdBlocks.h"
#include "signal/ReceivedFrame.h"
#include "signal/SearchedFrame.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

/// Decodes one frame. `Bus` derives from it and gives:
///
///     static constexpr LogSite site;
///     static FieldPlace placeOf(const Signal&);
///     std::optional<std::size_t> originOf(const FieldWriter&);
///
/// the last one telling where the byte range of a conditional signal begins to count, or nothing, after a
/// debug line if `tracing`, when the signal is not there. It may replace the operations that say so below.
template <class Bus, class Signal>
class FrameDecoder {
  public:
    using Table = FrameTable<Signal>;

    /// Writes the signals of an entry of `table` and appends their identifiers to `ids`. The decoder itself
    /// is built, from `more` too, only if a look at each signal is needed. Inline always: a call would put
    /// the whole frame on the stack.
    template <class... More>
    [[gnu::always_inline]] static void decode(Table& table, typename Table::Frame& entry,
                                              const ReceivedFrame& frame, std::vector<unsigned long>& ids,
                                              const More&... more) {
        const FrameProgram& program =
            FrameProgram::of(entry, table, Bus::placeOf,
                             [](std::uint64_t key, auto&& visit) { return Bus::anyTwin(key, visit); });
        decode(program, table, frame, ids, more...);
    }
    /// The same with the program of the entry.
    template <class... More>
    [[gnu::always_inline]] static void decode(const FrameProgram& program, Table& table,
                                              const ReceivedFrame& frame, std::vector<unsigned long>& ids,
                                              const More&... more) {
        if (BaseSignal::debug != 0 || !storeAll(program, frame, ids)) {
            Bus(table, frame, ids, more...).decodeOther(program);
        }
    }

    /// The same in a hurry, without a decoder: for a frame whose signals are all private ones of the first
    /// word, and `ids` with room for them; these are then all that `ids` holds. `length`: of what was
    /// received. \return false, and nothing is done, for any other. REQUIRES: `BaseSignal::debug` is 0.
    [[gnu::always_inline]] static bool storedAtOnce(const Table& table, const typename Table::Frame& entry,
                                                    std::uint64_t word, std::size_t length,
                                                    std::uint64_t timestamp,
                                                    std::vector<unsigned long>& ids) {
        const FrameBrief brief = entry.brief();
        if (brief.count == 0 || brief.end > length) [[unlikely]] {
            return false;
        }
        const FrameProgram& program = *entry.program();
        if (!program.isOf(table.changes().latest())) [[unlikely]] {
            return false;
        }
        if (brief.count == 1) { // true of many frames: neither a block nor a loop
            if (!idblocks::reportOne(ids, *program.firstId(brief))) [[unlikely]] {
                return false;
            }
            program.fields(brief)[0].storeAnyOrder(word, timestamp);
            return true;
        }
        // Identifiers first: the way on is clear then, whatever the loop of stores does.
        if (!idblocks::reportTo(ids, program.firstId(brief), brief.count)) [[unlikely]] {
            return false;
        }
        storeWord(program.fields(brief), word, timestamp);
        return true;
    }

    /// Finds a chain of the frame as SearchedFrame asks for it. Replaced by buses that have some.
    template <class Use>
    void inChain(std::uint8_t /*number*/, Use&& /*use*/) const {}

  protected:
    FrameDecoder(Table& table, const ReceivedFrame& frame, std::vector<unsigned long>& ids)
        : table(table), frame(frame), ids(ids), tracing(BaseSignal::debug != 0) {}

    // --- replaced by a bus where it differs ---

    /// Visits the keys of frames that are likely to have the same signals as the one of `key`, until `visit`
    /// returns true. \return whether it did
    template <class Visit>
    static bool anyTwin(std::uint64_t /*key*/, Visit&& /*visit*/) {
        return false;
    }
    /// The debug line at the head of a signal's own.
    void traceSignal(const BaseSignal& signal) const {
        logDebug(Bus::site, "Signal = ", signal.def.instance);
    }
    /// The debug line of a signal that is not there and not conditional either.
    void traceAbsent(const FieldWriter& writer) const { trace(writer, " not found"); }
    /// What a signal of the whole frame is told as the frame's length.
    unsigned long toldLength() const { return frame.length; }
    /// Debug output before a byte range is written.
    void traceBytes() const {}
    /// Called after a signal was written whose place `selects`.
    void decodeSelected(const FieldWriter& /*writer*/) {}

    // --- for the bus ---

    /// Writes a signal of the whole frame.
    void writeWhole(const FieldWriter& writer) {
        if (writer.isDirect() && !tracing) {
            writer.store(frame.firstWord, frame.timestamp);
        } else {
            writer.signal->write(frame.bytes.data(), bus().toldLength(), frame.timestamp);
        }
    }

    /// Writes all signals of a program and reports them. \return false, and nothing is done, unless they are
    /// all private ones in the first 8 bytes, and nobody traces
    bool storedWhole(const FrameProgram& program) {
        if (tracing || program.form() != FrameProgram::Form::WholeFrame) {
            return false;
        }
        storeWord(program.fields(), frame.firstWord, frame.timestamp);
        append(program.ids(), ids);
        return true;
    }

    void trace(const FieldWriter& writer, const char* text) const {
        if (tracing) {
            logDebug(Bus::site, writer.signal->def.instance, text);
        }
    }

    static const Signal& signalOf(const FieldWriter& writer) {
        return static_cast<const Signal&>(*writer.signal);
    }

    Table& table;
    const ReceivedFrame& frame;
    std::vector<unsigned long>& ids;
    const bool tracing;

  private:
    Bus& bus() { return static_cast<Bus&>(*this); }

    /// Decodes a frame of one of the forms that need no look at each signal's kind. \return false if it is of
    /// another one, or not all of it was received
    static bool storeAll(const FrameProgram& program, const ReceivedFrame& frame,
                         std::vector<unsigned long>& ids) {
        if (!frame.origin) {
            return false;
        }
        const std::size_t origin = *frame.origin;
        const auto form = program.form();
        if (form == FrameProgram::Form::WholeFrame) [[likely]] {
            storeWord(program.fields(), frame.firstWord, frame.timestamp);
        } else if (form == FrameProgram::Form::SharedWholeFrame) {
            storeSharedFirstWord(program, frame.firstWord, frame.timestamp);
        } else if (form < FrameProgram::Form::RangesInWord || !frame.holdsRange(origin, program.end())) {
            return false;
        } else if (form == FrameProgram::Form::RangesInWord) {
            storeWord(program.fields(), wordAt(frame.bytes, origin), frame.timestamp);
        } else if (form == FrameProgram::Form::Ranges) {
            storeRanges(program, frame.bytes.subspan(origin), frame.timestamp);
        } else {
            storeSharedRanges(program, frame.bytes.subspan(origin), frame.timestamp);
        }
        report(program.ids(), ids);
        return true;
    }

    static void storeRanges(const FrameProgram& program, std::span<const std::uint8_t> bytes,
                            std::uint64_t timestamp) {
        for (const PrivateField& field : program.fields()) {
            field.storeAnyOrder(wordAt(bytes, field.startByte), timestamp);
        }
    }

    [[gnu::noinline]] static void storeSharedFirstWord(const FrameProgram& program, std::uint64_t word,
                                                       std::uint64_t timestamp) {
        fetch(program);
        const std::uint64_t swapped = bitfield::swapped(word);
        for (const FieldWriter& writer : program.writers()) {
            writer.store(word, swapped, timestamp, /*isShared=*/true);
        }
    }

    [[gnu::noinline]] static void storeSharedRanges(const FrameProgram& program,
                                                    std::span<const std::uint8_t> bytes,
                                                    std::uint64_t timestamp) {
        fetch(program);
        for (const FieldWriter& writer : program.writers()) {
            const std::uint64_t word = wordAt(bytes, writer.place.startByte);
            writer.store(word, bitfield::swapped(word), timestamp, /*isShared=*/true);
        }
    }

    /// Fetches shared slots, which lie far apart: a lock waits for every write before it to be done, so that
    /// without it one miss would follow the other.
    static void fetch(const FrameProgram& program) {
        for (const FieldWriter& writer : program.writers()) {
            __builtin_prefetch(&writer.slot->mutex, 1);
            __builtin_prefetch(&writer.slot->raw, 1);
            __builtin_prefetch(&writer.signal->modified, 1);
        }
    }

    /// REQUIRES: they are all identifiers of a program.
    static void report(std::span<const unsigned long> own, std::vector<unsigned long>& ids) {
        if (ids.empty()) {
            if (idblocks::reportTo(ids, own.data(), own.size())) {
                return;
            }
            ids.reserve(idblocks::roundedUp(own.size())); // for the next time
        }
        append(own, ids);
    }

    static void append(std::span<const unsigned long> own, std::vector<unsigned long>& ids) {
        if (ids.empty()) {
            ids.assign(own.begin(), own.end());
        } else {
            ids.insert(ids.end(), own.begin(), own.end());
        }
    }

    [[gnu::noinline]] void decodeOther(const FrameProgram& program) {
        const auto form = program.form();
        if (form == FrameProgram::Form::Selecting && frame.origin && !tracing) {
            storeSelecting(program);
        } else if (form == FrameProgram::Form::Searched && !tracing) {
            SearchedFrame<Bus, PrivateField>(bus(), frame, program, ids).store();
        } else if (form == FrameProgram::Form::OtherSearched && !tracing) {
            fetch(program);
            SearchedFrame<Bus, FieldWriter>(bus(), frame, program, ids).store();
        } else {
            decodeEach(program);
        }
    }

    /// What a signal selects is decoded before the next one, and its identifiers come before that one's.
    void storeSelecting(const FrameProgram& program) {
        const std::uint64_t inOrder[2] = {frame.firstWord, bitfield::swapped(frame.firstWord)};
        const auto fields = program.fields();
        std::size_t reported = 0;
        for (std::size_t i = 0; i < fields.size(); ++i) {
            fields[i].store(inOrder[fields[i].bigEndian ? 1 : 0], frame.timestamp);
            if (fields[i].selects) {
                append(program.ids().subspan(reported, i + 1 - reported), ids);
                reported = i + 1;
                bus().decodeSelected(program.writers()[i]);
            }
        }
        append(program.ids().subspan(reported), ids);
    }

    /// Any frame: looks at the kind of each signal.
    [[gnu::noinline]] void decodeEach(const FrameProgram& program) {
        const unsigned long* id = program.ids().data();
        for (const FieldWriter& writer : program.writers()) {
            const unsigned long ownId = *id++;
            if (tracing || !writer.isDirect()) [[unlikely]] {
                decodeIndirect(writer, ownId);
            } else {
                decodeOne(writer, ownId, [this](const FieldWriter& direct, std::size_t start) {
                    direct.store(wordAt(frame.bytes, start), frame.timestamp);
                });
            }
        }
    }

    /// Classes of clients, fields past the 8 bytes, debug output: kept out of the loop.
    [[gnu::noinline]] void decodeIndirect(const FieldWriter& writer, unsigned long id) {
        if (tracing) {
            bus().traceSignal(*writer.signal);
        }
        decodeOne(writer, id, [this](const FieldWriter& indirect, std::size_t start) {
            if (tracing) {
                bus().traceBytes();
            }
            indirect.signal->write(frame.bytes.data() + start, indirect.place.numBytes, frame.timestamp);
        });
    }

    template <class WriteRange>
    void decodeOne(const FieldWriter& writer, unsigned long id, WriteRange&& writeRange) {
        std::optional<std::size_t> origin = frame.origin;
        if (writer.place.conditional) {
            origin = bus().originOf(writer);
        } else if (!origin) {
            bus().traceAbsent(writer);
        }
        if (!origin) {
            return;
        }
        if (writer.place.wholeFrame) {
            writeWhole(writer);
        } else {
            const std::size_t start = *origin + writer.place.startByte;
            if (!frame.holdsRange(start, writer.place.numBytes)) {
                trace(writer, ": payload to small");
                return;
            }
            writeRange(writer, start);
        }
        ids.push_back(id);
        if (writer.place.selects) {
            bus().decodeSelected(writer);
        }
    }
};
