/// \file
/// The values of traces in columns, batch by batch.
#pragma once

#include "catalog/Catalog.h"
#include "columns/ArrowData.h"
#include "text/Export.h"
#include "trace/Trace.h"
#include "value/ReplayStatistics.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace rksignal {

/// What is a row.
///
/// Times are `timestamp[ns, UTC]`. Texts are dictionaries: an index of 8, 16 or 32 bits into UTF-8 strings.
/// `channel` is a `uint8`, null of the logger's own inputs, which have none; `bus` says `can`, `lin`,
/// `flexray`, `ethernet`, `digital`, `analog`, `keyboard`, `status` or `gps`. A physical value is a `double`
/// here, but for columns of signals, below. `raw` is an `int64`: the raw word with its sign if the signal has
/// one, of a float or double its bits; of an unsigned signal of 64 bits, values from 2^63 on come out
/// negative, to be read as `uint64`. `text` is the text of the raw value, null if it has none.
enum class ColumnLayout : std::uint8_t {
    /// A table a message: a row a frame, a column a signal. `time`, `channel`, then for each signal `NAME`,
    /// the physical value: an integer as wide as the signal (8, 16, 32 or 64 bits) if its scale is 1 and its
    /// offset 0, a `float` if it is one so scaled, otherwise a `double`. Behind it, if asked for, `NAME.raw`,
    /// and `NAME.text` if the signal has texts. Null where the frame gave the signal no value: a multiplexer
    /// did not select it, the frame was too short, the signal was not updated, or it lost its value. A frame
    /// that says nothing about the signals that are wanted has no row.
    Message,
    /// One table, a row a value: `time`, `channel`, `bus`, `instance`, `value`, `raw`, `text`, in the order
    /// of decoding.
    Long,
    /// One table, a row as long as the raw value stays: `instance`, `channel`, `bus`, `from`, `to`, `count`,
    /// `value`, `raw`, `text`. `from` is the time of the first message with this value and `to` that of the
    /// last one; both may be the same. `count` (`uint64`) says how many messages there were. The messages of
    /// one channel are a series of their own. An interval also ends where the signal loses its value, where
    /// time goes back, and after a gap, see ColumnSettings::gap: so the intervals of a series, in their
    /// order, hold the rows of the long layout exactly, each in one of them. Rows come when an interval ends;
    /// those that the end of the traces ends come last, in the order in which they began to be followed.
    Intervals,
};

struct ColumnSettings {
    ColumnLayout layout = ColumnLayout::Long;
    /// By index in Catalog::signals(); nothing: all. A signal for any sender (SAE J1939) stands for the
    /// instances of further senders too. Frames of CAN without a wanted signal are not decoded.
    std::optional<std::vector<std::size_t>> signals = {};
    /// A batch is complete with so many rows, and those of the message that has filled it. It is smaller when
    /// all batches together would wait with more than 64 MB.
    std::size_t batchRows = 65536;
    /// Whether there are columns of raw values; nothing: yes, but in the layout Message.
    std::optional<bool> raw = {};
    bool text = true; ///< whether there are columns of texts
    /// Intervals: nanoseconds without a value after which an interval ends all the same; nothing: never.
    std::optional<std::uint64_t> gap = {};
    bool strict = false; ///< see ReplaySettings
};

/// A table of which a stream gives batches.
struct ColumnTable {
    /// Of the layout Message: that of the message, with `@CHANNEL` or `#2` behind it where several have it,
    /// and `@SA21` for a further sender; otherwise empty.
    std::string name;
    const MessageDefinition* message = nullptr; ///< of the layout Message
    /// The signals in it, by index in Catalog::signals(), in the order of their columns; of tables of all
    /// messages those that were wanted from the start.
    std::vector<std::size_t> signals;
};

/// Replays traces and gathers the values in columns:
///
///     rksignal::ColumnStream stream(catalog, trace, {.layout = rksignal::ColumnLayout::Long});
///     ArrowArray batch;
///     while (const auto table = stream.next(batch)) {
///         ...
///         batch.release(&batch);
///     }
///
/// Reading goes on when the next batch is asked for, and stops as soon as one is complete. Trace::setWindow()
/// leaves out what no row is wanted of before it is decoded; Trace::onProgress() and Trace::stop() work as
/// with Trace::run(): a stream that was stopped gives the rows that it has, then ends.
///
/// Takes constant memory, whatever is replayed: a batch a table, 64 MB altogether, and of intervals some 100
/// bytes a signal and channel. Allocates buffers, and nothing a message.
///
/// For one thread at a time; what it has given out belongs to whoever took it, in any thread, and outlives
/// it. Streams of different catalogs and traces know nothing of each other.
class RKREPLAY_EXPORT ColumnStream {
  public:
    /// Both must outlive the stream; from now on nothing may be added to the catalog, and the trace is read
    /// by the stream alone.
    ColumnStream(Catalog& catalog, Trace& trace, const ColumnSettings& settings = {});
    ~ColumnStream();
    ColumnStream(const ColumnStream&) = delete;
    ColumnStream& operator=(const ColumnStream&) = delete;

    /// The tables so far; never fewer. Of the layout Message one for each message with a wanted signal, in
    /// the order of definition, and then what further senders add; otherwise one.
    const std::vector<ColumnTable>& tables() const;

    /// The columns of a table: a struct without nulls. To be released by the caller. What definitions say
    /// stands in metadata: of a signal's column `instance`, `unit`, `comment`, `factor`, `offset` (shortest
    /// decimal form), `values` (the texts as a JSON object by raw value) and `minimum`, `maximum` if there
    /// are any; of a table of the layout Message `message`, `bus`, `id` (hexadecimal of CAN and LIN),
    /// `format`
    /// (`standard` or `extended`, of CAN), `channel`, `sender`, `comment` and `cycle_time_ms`, as far as they
    /// are known.
    void schema(std::size_t table, ArrowSchema& out) const;

    /// Reads on until a batch is complete, and gives it out, to be released by the caller; `out` holds
    /// nothing before. At the end what has been begun is given, table by table.
    /// \return the table; nothing at the end, and then `out.release` is null
    /// \throws Error if reading fails, once the rows before have been given
    std::optional<std::size_t> next(ArrowArray& out);

    /// Of the messages read so far.
    const ReplayStatistics& statistics() const;
    const Trace& trace() const;

  private:
    class State;
    std::unique_ptr<State> state;
};

/// Gives a stream of one table away through the C stream interface; `out` holds nothing before. `stream` is
/// let go with `out.release`: with an aliasing pointer to something that owns catalog, trace and stream all
/// of them are. A stream that fails gives an error number (`EIO`, `ENOMEM`, `ECANCELED` after Trace::stop())
/// and a text that names the file.
/// \throws Error if the stream has not exactly one table: then nothing is changed
RKREPLAY_EXPORT void exportStream(std::shared_ptr<ColumnStream> stream, ArrowArrayStream& out);

} // namespace rksignal
