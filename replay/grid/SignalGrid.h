/// \file
/// Values of several signals at the same times: the rows of a table, the points of a plot.
#pragma once

#include "catalog/Catalog.h"
#include "text/Export.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace rksignal {

/// The physical value of a signal at the time of a row.
struct GridCell {
    double value = 0;
    bool isFilled = false; ///< otherwise there is no value, or it is too old
};

/// Who gets the rows. All calls come from the thread that replays.
class RKREPLAY_EXPORT GridSink {
  public:
    virtual ~GridSink();

    /// One call a row, in the order of time, with a cell a column. `timestamp` is in nanoseconds since
    /// 1970-01-01 UTC. The cells are good until the call returns. An exception ends the replay and goes on to
    /// its caller.
    virtual void row(std::uint64_t timestamp, std::span<const GridCell> cells) = 0;

    /// Whether no further rows are wanted: the replay ends.
    virtual bool closed() const { return false; }
};

/// When there are rows, and what stands in them.
struct GridSettings {
    /// Nanoseconds from one row to the next; 0: there is a row for each value of `trigger`.
    std::uint64_t step = 0;
    /// A time at which there would be a row; nothing: the time of the first message.
    std::optional<std::uint64_t> origin;
    /// By index in Catalog::signals(); need not be one of the columns. Counts without `step` only.
    std::size_t trigger = 0;
    /// Whether signals for which isContinuous() holds are interpolated; all others are held.
    bool interpolate = false;
    /// Nanoseconds after which a value counts no more; nothing: never.
    std::optional<std::uint64_t> maxAge;
    /// The most rows between two values of a signal that is interpolated; where there are more, it is held.
    /// Bounds the memory: 16 bytes a cell.
    std::size_t lookAhead = 10'000;
};

/// Rows that were left out because no message came for a long time.
struct GridGap {
    std::uint64_t from = 0; ///< the time of the first row that was left out
    std::uint64_t to = 0;   ///< the time of the message that ended it
    std::uint64_t rows = 0;
};

struct GridReport {
    std::uint64_t rows = 0;      ///< that the sink has got
    std::uint64_t backwards = 0; ///< messages with an earlier time than one before
    std::uint64_t heldGaps = 0;  ///< between values that `lookAhead` kept from being interpolated
    std::uint64_t gaps = 0;      ///< with rows left out
    GridGap firstGap;
};

/// Whether a signal can be interpolated. It cannot if its values have texts, if it is one bit wide, if it is
/// an integer with neither a unit nor a scale other than 1 (a state, a gear, a counter), or if its unit is
/// UTC: the digits of dates and times of GPS receivers are no quantity.
RKREPLAY_EXPORT bool isContinuous(const baseSignalDef_t& signal);

/// Brings the values of a replay to one time grid.
///
///     rksignal::SignalGrid grid(catalog, {speed, gear}, {.step = 10'000'000}, sink);
///     rksignal::Replay(catalog, grid).run(trace);
///     grid.finish();
///
/// With a step there is a row at each `origin + n * step` from the first message to the last one. A row holds
/// of each signal the last value at its time or before it. Without a step there is a row for each value of
/// the trigger, at the time of its message, with the values that the signals have when this message has been
/// decoded in full.
///
/// An interpolated signal has at time t, between a value a at t1 and the next one b at t2, the value
/// a + (b - a) * (t - t1) / (t2 - t1). It is held from a to b if one of them is not finite, if t2 - t1 is
/// more than `maxAge`, or if more than `lookAhead` rows lie between; and from its last value on. Rows wait
/// for b, in memory.
///
/// A value that is older than `maxAge` leaves its cells empty, and so does one that a message has withdrawn.
/// A message with an earlier time than one before it counts as having the latest time of those. Where no
/// message comes for more than a million rows, these rows are left out.
///
/// Takes constant memory, whatever is replayed, and allocates nothing a message. For the thread that replays.
class RKREPLAY_EXPORT SignalGrid final : public ValueSink {
  public:
    static constexpr std::uint64_t maxIdleRows = 1'000'000; ///< in which no message comes

    /// `columns` are indices in Catalog::signals(), each at most once. The catalog and the sink must outlive
    /// the grid.
    SignalGrid(const Catalog& catalog, std::span<const std::size_t> columns, const GridSettings& settings,
               GridSink& sink);
    ~SignalGrid() override;
    SignalGrid(const SignalGrid&) = delete;
    SignalGrid& operator=(const SignalGrid&) = delete;

    void reached(std::uint64_t timestamp) override;
    void signalsAdded() override;
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void decoded(const MessageInfo& message) override;
    bool closed() const override;

    /// To be called behind the last message: the sink gets the rows that still wait.
    void finish();

    bool isInterpolated(std::size_t column) const;
    std::uint64_t values(std::size_t column) const; ///< number of values that its signal got
    const GridReport& report() const;

  private:
    class State;
    std::unique_ptr<State> state;
};

} // namespace rksignal
