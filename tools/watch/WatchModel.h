/// \file
/// What `rksignal watch` shows: signals with their values, filtered and in order. Knows no terminal.
#pragma once

#include "catalog/Catalog.h"
#include "live/SlotReplay.h"
#include "output/StaleAge.h"
#include "value/ValueSink.h"
#include "watch/SignalTrack.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

enum class WatchOrder : std::uint8_t { Definition, Name, Age, Rate, Changed };
constexpr std::size_t watchOrders = 5;
const char* nameOf(WatchOrder order);

/// Nanoseconds, of two clocks.
struct WatchTime {
    std::uint64_t steady; ///< CLOCK_MONOTONIC
    std::uint64_t wall;   ///< CLOCK_REALTIME
};

/// One signal as it is shown; all texts are whole.
struct WatchRow {
    std::string name;
    std::size_t level; ///< how many multiplexers it depends on
    std::string value; ///< the last one, also of a signal that has lost it; empty: there was none
    std::string unit;
    std::string text;
    std::string age; ///< or why there is no value: `removed`, `missing`, `no value`, ...
    std::string rate;
    std::array<double, SignalTrack::samples> history;
    bool isChanged; ///< within the last second
    bool isDim;     ///< stale, without a value, or in a branch that is not sent now
};

struct WatchSettings {
    std::uint64_t interval = 50'000'000; ///< nanoseconds between two looks
    std::uint64_t stale = usualStaleAge; ///< a value that is older is shown dim
};

/// Keeps what a SlotReplay tells of the signals that are wanted, and makes rows of it.
class WatchModel : public ValueSink {
  public:
    /// \param wanted by index in Catalog::signals(). The catalog must be complete and outlive the model.
    WatchModel(const Catalog& catalog, const std::vector<bool>& wanted, const WatchSettings& settings);

    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) override;

    /// To be called before each poll. `isClose`: the last poll was just before.
    void startPoll(const WatchTime& time, bool isClose);
    /// To be called once a second, for rates.
    void settleRates();
    /// To be called at equal intervals, for the course of the values.
    void sample();

    /// Shows only signals whose name holds `text`, in capital letters or small ones, or matches it as a
    /// pattern if it has `*`, `?` or `[`. Empty: all.
    void setFilter(const std::string& text);
    const std::string& filter() const { return filterText; }
    void setOrder(WatchOrder order, bool reversed);
    WatchOrder order() const { return sortOrder; }
    bool isReversed() const { return reversed; }
    /// Whether only signals are shown that have, or had, a value.
    void setOnlyValues(bool only);
    bool onlyValues() const { return hidesEmpty; }
    /// Sorts anew, as ages and rates change. To be called now and then.
    void sort();

    std::size_t size() const { return all.size(); }                   ///< of all that are wanted
    const std::vector<std::size_t>& shown() const { return visible; } ///< indices of signals, in order
    std::size_t widestName() const { return nameWidth; }              ///< of all, in cells, indented
    std::size_t widestUnit() const { return unitWidth; }
    bool hasTexts() const { return hasValueTexts; }

    /// \param signal index in Catalog::signals()
    WatchRow row(std::size_t signal, const SlotReplay& slots, const WatchTime& time) const;
    /// How many of the wanted signals have a value that is not stale.
    std::size_t fresh(const WatchTime& time) const;

  private:
    bool isActive(std::size_t signal) const;
    bool matches(std::size_t signal) const;
    void add(std::size_t signal);

    const Catalog& catalog;
    WatchSettings settings;
    std::vector<SignalTrack> tracks;       ///< as Catalog::signals()
    std::vector<std::size_t> levels;       ///< as these
    std::vector<std::size_t> multiplexers; ///< as these: the signal that they depend on, or themselves
    std::vector<std::size_t> all;          ///< in the order of definition, branches below their multiplexer
    std::vector<std::size_t> visible;
    std::string filterText;
    WatchOrder sortOrder = WatchOrder::Definition;
    bool reversed = false;
    bool hidesEmpty = false;
    bool hasValueTexts = false;
    std::uint64_t now = 0;        ///< steady
    std::uint64_t closeSince = 0; ///< steady: no two looks since were far apart
    std::uint32_t changes = 0;
    std::size_t nameWidth = 0;
    std::size_t unitWidth = 0;
};

/// How old a value is: `0.4s`, `12s`, `5m12s`, `3h05m`, `2d04h`; `in 12s` if its time is still to come.
std::string ageText(std::uint64_t timestamp, std::uint64_t wall);

/// Why a signal has no value: `missing`, `removed`, ...; empty if it has one.
std::string absenceText(SlotReplay::Connection connection, SlotView::Attachment attachment);

} // namespace rksignal
