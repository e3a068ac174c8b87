/// \file
/// The text form of a row of values: CSV or JSON lines.
#pragma once

#include "output/OutputBuffer.h"
#include "output/PaddedText.h"
#include "output/RowEndings.h"
#include "signal/BaseSignal.h"
#include "signal/PlainPaths.h"
#include "text/NumberText.h"
#include "value/ValueSink.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace rksignal {

/// What stands around the cells of a row, and how a text becomes a cell. The cells are, in this order, time,
/// channel, bus, instance, value, unit, raw, text, and optionally count.
struct RowSyntax {
    std::string_view header;      ///< first line without count, or empty
    std::string_view countHeader; ///< first line with count, or empty
    std::string_view open, channel, bus, instance, value, unit, raw, text, count, close; ///< before each cell
    std::string (*quote)(std::string_view);
    bool json; ///< numbers that JSON does not have are `null`, hexadecimal ones in quotes
};

/// CSV as RFC 4180 has it, but with bare line feeds: a cell with a comma, a quote or a line end is quoted.
extern const RowSyntax csvSyntax;
/// One JSON object a line.
extern const RowSyntax jsonSyntax;

/// Appends the time stamp of a row. A text is in quotes in JSON.
void appendTime(std::string& row, const RowSyntax& syntax, TimeText& time, std::uint64_t timestamp);

/// Appends the cells that say where a message came from: channel and bus, empty or `null` where there is
/// none.
void appendOrigin(std::string& row, const RowSyntax& syntax, const std::optional<MessageOrigin>& origin);

/// A signal's part of its rows, quoted once. Texts that a class computes from the value are not in a table:
/// they are asked for, and quoted, row by row, which allocates.
class SignalCells {
  public:
    /// `signal` must outlive the cells.
    SignalCells(const BaseSignal& signal, const RowSyntax& syntax);

    const PaddedText& head() const { return instance; }  ///< from before the instance up to the value
    const PaddedText& unit() const { return unitToRaw; } ///< from behind the value up to the raw value
    const std::string& none() const { return noText; }   ///< the quoted text of a raw value that has none
    /// Whether everything behind the head follows from the raw value.
    bool areOfRaw() const { return isPlain; }
    /// The quoted text of a raw value. REQUIRES: areOfRaw()
    std::string_view text(std::uint64_t raw) const;
    /// Appends the quoted text of a raw value.
    void appendText(std::uint64_t raw, OutputBuffer& out) const;

  private:
    const BaseSignal* computing; ///< computes its texts; null: they are in the table
    std::string (*quote)(std::string_view);
    PaddedText instance;
    PaddedText unitToRaw;
    std::string noText;
    bool isPlain;
    std::vector<std::pair<std::uint64_t, std::string>> texts; ///< by raw value
};

/// The value of a signal as it is now.
struct ValueSample {
    double value;
    unsigned long raw;
    unsigned long timestamp;

    static ValueSample of(BaseSignal& signal);
};

/// A row whose parts are all prepared: everything behind the head follows from a raw value that nobody else
/// changes.
struct PreparedRow {
    /// REQUIRES: canPrepare(). Everything must outlive the row.
    PreparedRow(const SignalCells& cells, BaseSignal& signal, RowEndings& endings)
        : cells(&cells), signal(&signal), endings(&endings), raw(&signal.slot->raw),
          head(cells.head().view()) {}
    static bool canPrepare(const SignalCells& cells, const BaseSignal& signal) {
        return cells.areOfRaw() && !signal.shmem;
    }

    const SignalCells* cells;
    BaseSignal* signal;
    RowEndings* endings;
    const std::uint64_t* raw;
    std::string_view head; ///< of a PaddedText
};

/// Writes rows. Allocates nothing a row.
class RowFormat {
  public:
    RowFormat(const RowSyntax& syntax, OutputBuffer& out, const TimeFormat& times)
        : syntax(syntax), out(out), time(times) {}

    /// Sets what the next rows have in common. Call before write().
    void setMessage(const MessageInfo& message);
    /// The same without a time.
    void setOrigin(const MessageOrigin& messageOrigin);
    void write(const SignalCells& cells, signalValue_t type, const ValueSample& sample,
               std::optional<std::uint64_t> count = {});
    /// A row of a signal that has none.
    void writeWithoutValue(const SignalCells& cells);
    /// The same of the value that `signal` has, without a count: the fast way, for many rows.
    void write(const SignalCells& cells, BaseSignal& signal, RowEndings& endings);

    /// The same for several signals, one after the other. The fastest way: what has been written before is
    /// copied, without a question a row.
    void write(std::span<const PreparedRow> rows);

    /// Whether rows are prepared and their endings kept. Otherwise each row is written anew, with the same
    /// result.
    bool isPreparing() const { return keepsEndings; }

  private:
    std::string_view noneText() const { return syntax.json ? "null" : ""; }
    /// Longest ending that is put together before it is written.
    static constexpr std::size_t longestEnding = 512;

    char* writeValue(char* at, double value) const;
    char* writeRawCell(char* at, std::uint64_t raw, signalValue_t type) const;
    std::string_view makeEnding(const SignalCells& cells, signalValue_t type, const ValueSample& sample,
                                char* text) const;

    const RowSyntax& syntax;
    OutputBuffer& out;
    TimeText time;
    bool keepsEndings = !fastPathsOff();
    std::string parts;                   ///< what is put together
    std::optional<MessageOrigin> latest; ///< of the message before
    PaddedText origin;                   ///< its cells
    PaddedText common;                   ///< time, channel and bus
    RowEndings::Budget budget;
};

} // namespace rksignal
