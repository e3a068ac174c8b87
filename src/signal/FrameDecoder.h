/// \file
/// Decoding a received frame into its signals: the hot path that all buses share.
///
/// A bus says where the bytes of its signals begin; finding out what a frame does to its signals, checking
/// bounds, storing and reporting identifiers is done here.
#pragma once

#include "signal/ByteOrder.h"
#include "signal/Diagnostics.h"
#include "signal/FrameProgram.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// A received frame as its bus sees it.
struct ReceivedFrame {
    std::span<const std::uint8_t> bytes;   ///< all that may be read
    std::size_t length = 0;                ///< a byte range that ends behind it was not received
    std::uint64_t timestamp = 0;           ///< nanoseconds since 1970-01-01 UTC
    std::uint64_t firstWord = 0;           ///< what signals of the whole frame see, byte 0 least significant
    std::optional<std::size_t> origin = 0; ///< where byte ranges begin to count; nothing: no signal is there

    bool holdsRange(std::size_t start, std::size_t count) const {
        return start <= length && count <= length - start;
    }
};

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
    /// is built, from `more` too, only if a look at each signal is needed.
    template <class... More>
    static void decode(Table& table, typename Table::Frame& entry, const ReceivedFrame& frame,
                       std::vector<unsigned long>& ids, const More&... more) {
        const FrameProgram& program = FrameProgram::of(entry, table, Bus::placeOf);
        if (BaseSignal::debug != 0 || !storeAll(program, frame, ids)) {
            Bus(table, frame, ids, more...).decodeEach(program);
        }
    }

  protected:
    FrameDecoder(Table& table, const ReceivedFrame& frame, std::vector<unsigned long>& ids)
        : table(table), frame(frame), ids(ids), tracing(BaseSignal::debug != 0) {}

    // --- replaced by a bus where it differs ---

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

    void trace(const FieldWriter& writer, const char* text) const {
        if (tracing) {
            logDebug(Bus::site, writer.signal->def.instance, text);
        }
    }

    static const Signal& signalOf(const FieldWriter& writer) {
        return static_cast<const Signal&>(*writer.signal);
    }

    Table& table;
    const ReceivedFrame frame;
    std::vector<unsigned long>& ids;
    const bool tracing;

  private:
    Bus& bus() { return static_cast<Bus&>(*this); }

    /// Decodes a frame whose signals are all direct, plain and of one kind. \return false if it is another
    /// one, or not all of it was received
    static bool storeAll(const FrameProgram& program, const ReceivedFrame& frame,
                         std::vector<unsigned long>& ids) {
        if (!frame.origin) {
            return false;
        }
        switch (program.form()) {
        case FrameProgram::Form::Mixed:
            return false;
        case FrameProgram::Form::WholeFrame:
            program.isShared() ? storeFirstWord<true>(program, frame) : storeFirstWord<false>(program, frame);
            break;
        case FrameProgram::Form::Ranges:
            if (!frame.holdsRange(*frame.origin, program.end())) {
                return false;
            }
            program.isShared() ? storeRanges<true>(program, frame) : storeRanges<false>(program, frame);
            break;
        }
        appendIds(program.ids(), ids);
        return true;
    }

    template <bool shared>
    static void storeFirstWord(const FrameProgram& program, const ReceivedFrame& frame) {
        const std::uint64_t swapped = bitfield::swapped(frame.firstWord);
        for (const FieldWriter& writer : program.writers()) {
            writer.store(frame.firstWord, swapped, frame.timestamp, shared);
        }
    }

    template <bool shared>
    static void storeRanges(const FrameProgram& program, const ReceivedFrame& frame) {
        for (const FieldWriter& writer : program.writers()) {
            const std::uint64_t word = wordAt(frame.bytes, *frame.origin + writer.place.startByte);
            writer.store(word, bitfield::swapped(word), frame.timestamp, shared);
        }
    }

    /// Few identifiers are appended faster one by one than by a call that copies them.
    static void appendIds(std::span<const unsigned long> own, std::vector<unsigned long>& ids) {
        constexpr std::size_t few = 8;
        if (own.size() > few) {
            ids.insert(ids.end(), own.begin(), own.end());
            return;
        }
        for (const unsigned long id : own) {
            ids.push_back(id);
        }
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
