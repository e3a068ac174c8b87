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
#include <cstring>
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
        const FrameProgram& program =
            FrameProgram::of(entry, table, Bus::placeOf,
                             [](std::uint64_t key, auto&& visit) { return Bus::anyTwin(key, visit); });
        if (BaseSignal::debug != 0 || !storeAll(program, frame, ids)) {
            Bus(table, frame, ids, more...).decodeOther(program);
        }
    }

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
    /// Where the byte ranges of a run of conditional signals begin to count, as `originOf` says it, or
    /// `nowhere`.
    std::size_t locate(const FieldRun& /*run*/) { return nowhere; }
    static constexpr std::size_t nowhere = ~std::size_t{0};
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
    const ReceivedFrame frame;
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
        append(program.ids(), ids);
        return true;
    }

    /// All fields lie in one word.
    static void storeWord(std::span<const PrivateField> fields, std::uint64_t word, std::uint64_t timestamp) {
        const std::uint64_t inOrder[2] = {word, bitfield::swapped(word)};
        for (const PrivateField& field : fields) {
            field.store(inOrder[field.bigEndian ? 1 : 0], timestamp);
        }
    }

    static void storeRanges(const FrameProgram& program, std::span<const std::uint8_t> bytes,
                            std::uint64_t timestamp) {
        for (const PrivateField& field : program.fields()) {
            storeOne(field, wordAt(bytes, field.startByte), timestamp);
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
            storeFound(program, program.fields());
        } else if (form == FrameProgram::Form::OtherSearched && !tracing) {
            fetch(program);
            storeFound(program, program.writers());
        } else {
            decodeEach(program);
        }
    }

    /// Decodes a frame with signals that are not always there, one run of them after the other. `fields` are
    /// the signals as they are stored. REQUIRES: nothing is reported yet. What the loops use is in variables
    /// of their own: a store into a slot could change any other for all that the compiler knows.
    template <class Field>
    void storeFound(const FrameProgram& program, std::span<const Field> fields) {
        ids.assign(program.ids().begin(), program.ids().end()); // mostly all are there
        const std::uint64_t time = frame.timestamp;
        const FieldWriter* writer = program.writers().data();
        const Field* field = fields.data();
        const unsigned long* id = program.ids().data();
        unsigned long* reported = ids.data();
        for (const FieldRun& run : program.runs()) {
            const std::size_t origin = run.conditional ? bus().locate(run) : frame.origin.value_or(nowhere);
            const std::span own(field, run.count);
            if (holdsWords(run, origin)) [[likely]] {
                storeRun(run, own, frame.bytes.data() + origin, time);
                *reported++ = *id; // mostly the only one, or one of two: too few for a call that copies
                for (std::uint32_t i = 1; i < run.count; ++i) {
                    *reported++ = id[i];
                }
            } else if (origin != nowhere) {
                for (std::size_t i = 0; i < run.count; ++i) {
                    if (fits(writer[i].place, origin)) {
                        storeOne(own[i], wordAt(frame.bytes, origin + startByteOf(own[i])), time);
                        *reported++ = id[i];
                    }
                }
            }
            field += run.count;
            writer += run.count;
            id += run.count;
        }
        ids.resize(static_cast<std::size_t>(reported - ids.data()));
    }
    /// `bytes`: where the ranges begin to count.
    static void storeRun(const FieldRun& run, std::span<const PrivateField> fields, const std::uint8_t* bytes,
                         std::uint64_t time) {
        if (run.isInWord()) {
            return storeWord(fields, wholeWordAt(bytes), time);
        }
        for (const PrivateField& field : fields) {
            storeOne(field, wholeWordAt(bytes + field.startByte), time);
        }
    }
    static void storeRun(const FieldRun& /*run*/, std::span<const FieldWriter> writers,
                         const std::uint8_t* bytes, std::uint64_t time) {
        for (const FieldWriter& writer : writers) {
            storeOne(writer, wholeWordAt(bytes + writer.place.startByte), time);
        }
    }
    /// No branch: which fields are big-endian is no pattern that a processor learns.
    static void storeOne(const PrivateField& field, std::uint64_t word, std::uint64_t time) {
        const std::uint64_t difference = word ^ bitfield::swapped(word);
        field.store(word ^ (difference & -std::uint64_t{field.bigEndian}), time);
    }
    static void storeOne(const FieldWriter& writer, std::uint64_t word, std::uint64_t time) {
        writer.store(word, time);
    }
    /// Whether all ranges of a run were received, and 8 bytes may be read from the start of each.
    bool holdsWords(const FieldRun& run, std::size_t origin) const {
        return frame.holdsRange(origin, run.end) &&
               frame.bytes.size() - origin >= run.lastStart + sizeof(std::uint64_t);
    }
    bool fits(const FieldPlace& place, std::size_t origin) const {
        return frame.holdsRange(origin + place.startByte, place.numBytes);
    }
    static std::size_t startByteOf(const PrivateField& field) { return field.startByte; }
    static std::size_t startByteOf(const FieldWriter& writer) { return writer.place.startByte; }

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
