#include "grid/SignalGrid.h"

#include "grid/GridRows.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace rksignal {
namespace {

constexpr std::uint64_t endOfTime = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t noColumn = ~std::size_t{0};

struct GridColumn {
    BaseSignal* signal;
    bool interpolates;
    bool hasValue = false;
    bool isHeld = false; ///< up to the next value, although it is interpolated otherwise
    bool isLong = false; ///< the reason for that is the number of rows
    double value = 0;
    std::uint64_t timestamp = 0;         ///< of the value
    std::uint64_t waitsFrom = endOfTime; ///< number of the first row that waits for the next value, if any
    std::uint64_t count = 0;             ///< of values
};

/// The first time of the grid that is not before `timestamp`.
std::uint64_t firstOnGrid(std::uint64_t timestamp, std::uint64_t origin, std::uint64_t step) {
    if (origin >= timestamp) {
        return timestamp + (origin - timestamp) % step;
    }
    const std::uint64_t behind = (timestamp - origin) % step;
    const std::uint64_t missing = behind == 0 ? 0 : step - behind;
    return missing <= endOfTime - timestamp ? timestamp + missing : endOfTime;
}

} // namespace

GridSink::~GridSink() = default;

bool isContinuous(const baseSignalDef_t& signal) {
    const bool isInteger = signal.type == signalValue_t::Unsigned || signal.type == signalValue_t::Signed;
    const bool isState = isInteger && signal.unit.empty() && signal.scale == 1;
    const bool isClock = signal.unit == "UTC"; // its digits are hours, minutes and seconds, or a date
    return signal.valueDescriptions.empty() && signal.bits != 1 && !isState && !isClock;
}

class [[gnu::visibility("hidden")]] SignalGrid::State {
  public:
    State(const Catalog& catalog, std::span<const std::size_t> wanted, const GridSettings& settings,
          GridSink& sink)
        : catalog(catalog), settings(settings), sink(sink), rows(wanted.size()) {
        columnOf.assign(catalog.signals().size(), noColumn);
        for (const std::size_t index : wanted) {
            BaseSignal& signal = *catalog.signals()[index];
            columnOf[index] = columns.size();
            columns.push_back(
                {.signal = &signal, .interpolates = settings.interpolate && isContinuous(signal.def)});
        }
    }

    void reached(std::uint64_t timestamp);
    void written(std::span<const unsigned long> ids);
    void withdrawn(std::span<const unsigned long> ids);
    void decoded() {
        if (isTriggered) {
            isTriggered = false;
            addRow(now);
        }
    }
    void finish();

    const Catalog& catalog;
    const GridSettings settings;
    GridSink& sink;
    std::vector<GridColumn> columns;
    std::vector<std::size_t> columnOf; ///< by index in Catalog::signals()
    GridReport report;

  private:
    bool hasSteps() const {
        return settings.step > 0;
    }
    bool isTooOld(std::uint64_t age) const {
        return settings.maxAge && age > *settings.maxAge;
    }
    void addRowsBefore(std::uint64_t timestamp);
    void leaveOutIdleRows(std::uint64_t timestamp);
    void advance();
    void addRow(std::uint64_t timestamp);
    bool fill(GridColumn & column, GridCell & cell, std::uint64_t row, std::uint64_t timestamp);
    void setValue(GridColumn & column);
    void interpolate(const GridColumn& column, std::size_t index, double next);
    void stopWaiting(GridColumn & column, std::uint64_t end);
    void release();

    GridRows rows;
    std::uint64_t now = 0;      ///< the latest time of a message
    std::uint64_t nextTime = 0; ///< of the next row, with steps
    bool hasStarted = false;
    bool isAtEnd = false;     ///< of what 64 bits can count
    bool isTriggered = false; ///< the trigger has a value of which there is no row yet
};

void SignalGrid::State::reached(std::uint64_t timestamp) {
    if (!hasStarted) {
        hasStarted = true;
        now = timestamp;
        nextTime =
            hasSteps() ? firstOnGrid(timestamp, settings.origin.value_or(timestamp), settings.step) : 0;
    }
    if (timestamp < now) {
        ++report.backwards;
    } else if (timestamp > now) {
        addRowsBefore(timestamp);
        now = timestamp;
    }
}

void SignalGrid::State::addRowsBefore(std::uint64_t timestamp) {
    if (!hasSteps()) {
        return;
    }
    if (nextTime <= now && !isAtEnd) {
        addRow(nextTime); // its value is one of the last message
        advance();
    }
    leaveOutIdleRows(timestamp);
    while (nextTime < timestamp && !isAtEnd && !sink.closed()) {
        addRow(nextTime);
        advance();
    }
}

void SignalGrid::State::leaveOutIdleRows(std::uint64_t timestamp) {
    if (nextTime >= timestamp || isAtEnd) {
        return;
    }
    const std::uint64_t idle = (timestamp - nextTime - 1) / settings.step + 1;
    if (idle <= maxIdleRows) {
        return;
    }
    if (report.gaps++ == 0) {
        report.firstGap = {nextTime, timestamp, idle};
    }
    nextTime = firstOnGrid(timestamp, nextTime, settings.step);
}

void SignalGrid::State::advance() {
    isAtEnd = settings.step > endOfTime - nextTime;
    nextTime += isAtEnd ? 0 : settings.step;
}

void SignalGrid::State::addRow(std::uint64_t timestamp) {
    const std::uint64_t row = rows.push(timestamp);
    const std::span<GridCell> cells = rows.cells(row);
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (fill(columns[i], cells[i], row, timestamp)) {
            ++rows.head(row).waiting;
        }
    }
    release();
}

/// Holds the value. \return whether the cell waits for the next one
bool SignalGrid::State::fill(GridColumn& column, GridCell& cell, std::uint64_t row, std::uint64_t timestamp) {
    cell.value = column.value;
    cell.isFilled = column.hasValue && !isTooOld(timestamp - column.timestamp);
    if (!column.interpolates || !column.hasValue || column.isHeld || timestamp == column.timestamp) {
        return false;
    }
    if (!cell.isFilled) {
        stopWaiting(column, row);
        return false;
    }
    if (column.waitsFrom == endOfTime) {
        column.waitsFrom = row;
    }
    if (row - column.waitsFrom >= settings.lookAhead) {
        stopWaiting(column, row);
        column.isLong = true;
        return false;
    }
    return true;
}

void SignalGrid::State::written(std::span<const unsigned long> ids) {
    const auto isTrigger = [this](unsigned long id) { return catalog.indexOf(id) == settings.trigger; };
    const bool triggers = !hasSteps() && std::ranges::any_of(ids, isTrigger);
    if (triggers) {
        decoded(); // a message can hold several values of one signal
    }
    for (const unsigned long id : ids) {
        if (const std::size_t column = columnOf[catalog.indexOf(id)]; column != noColumn) {
            setValue(columns[column]);
        }
    }
    isTriggered = isTriggered || triggers;
    release();
}

void SignalGrid::State::setValue(GridColumn& column) {
    double value = 0;
    unsigned long timestamp = 0;
    if (!column.signal->read(value, timestamp)) {
        return;
    }
    if (column.waitsFrom != endOfTime) {
        const bool canInterpolate =
            !isTooOld(now - column.timestamp) && std::isfinite(column.value) && std::isfinite(value);
        if (canInterpolate) {
            interpolate(column, static_cast<std::size_t>(&column - columns.data()), value);
        }
        stopWaiting(column, rows.end());
    }
    report.heldGaps += column.isLong ? 1U : 0U;
    column.hasValue = true;
    column.isHeld = column.isLong = false;
    column.value = value;
    column.timestamp = now;
    ++column.count;
}

void SignalGrid::State::interpolate(const GridColumn& column, std::size_t index, double next) {
    const auto distance = static_cast<double>(now - column.timestamp);
    for (std::uint64_t row = column.waitsFrom; row < rows.end(); ++row) {
        const auto passed = static_cast<double>(rows.head(row).timestamp - column.timestamp);
        rows.cells(row)[index].value = std::lerp(column.value, next, passed / distance);
    }
}

/// The rows before `end` that wait keep the value that they have, and what comes up to the next value is
/// held.
void SignalGrid::State::stopWaiting(GridColumn& column, std::uint64_t end) {
    for (std::uint64_t row = column.waitsFrom; row < end; ++row) {
        --rows.head(row).waiting;
    }
    column.waitsFrom = endOfTime;
    column.isHeld = true;
}

void SignalGrid::State::release() {
    while (!rows.empty() && rows.head(rows.begin()).waiting == 0) {
        ++report.rows;
        sink.row(rows.head(rows.begin()).timestamp, rows.cells(rows.begin()));
        rows.pop();
    }
}

void SignalGrid::State::withdrawn(std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        const std::size_t column = columnOf[catalog.indexOf(id)];
        if (column != noColumn) {
            stopWaiting(columns[column], rows.end());
            columns[column].hasValue = false;
        }
    }
    release();
}

void SignalGrid::State::finish() {
    decoded();
    if (hasSteps() && hasStarted && nextTime == now && !isAtEnd) {
        addRow(nextTime);
        advance();
    }
    for (GridColumn& column : columns) {
        stopWaiting(column, rows.end());
    }
    release();
}

SignalGrid::SignalGrid(const Catalog& catalog, std::span<const std::size_t> columns,
                       const GridSettings& settings, GridSink& sink)
    : state(std::make_unique<State>(catalog, columns, settings, sink)) {}

SignalGrid::~SignalGrid() = default;

void SignalGrid::reached(std::uint64_t timestamp) {
    state->reached(timestamp);
}

void SignalGrid::signalsAdded() {
    state->columnOf.resize(state->catalog.signals().size(), noColumn);
}

void SignalGrid::written(const MessageInfo& /*message*/, std::span<const unsigned long> ids) {
    state->written(ids);
}

void SignalGrid::withdrawn(const MessageInfo& /*message*/, std::span<const unsigned long> ids) {
    state->withdrawn(ids);
}

void SignalGrid::decoded(const MessageInfo& /*message*/) {
    state->decoded();
}

bool SignalGrid::closed() const {
    return state->sink.closed();
}

void SignalGrid::finish() {
    state->finish();
}

bool SignalGrid::isInterpolated(std::size_t column) const {
    return state->columns[column].interpolates;
}

std::uint64_t SignalGrid::values(std::size_t column) const {
    return state->columns[column].count;
}

const GridReport& SignalGrid::report() const {
    return state->report;
}

} // namespace rksignal
