// The layout Intervals: a row as long as the raw value stays.

#include "columns/ColumnSet.h"
#include "columns/ColumnSink.h"
#include "columns/WantedSignals.h"

#include <unordered_map>
#include <utility>

namespace rksignal {
namespace {

/// The values of one signal on one channel.
struct ValueSeries {
    std::uint32_t signal; ///< index in the catalog
    std::optional<std::uint8_t> channel;
    SignalKind kind;
    std::uint64_t count = 0; ///< of values since the interval has begun; 0: there is none
    std::uint64_t from = 0, to = 0;
    std::uint64_t raw = 0;
};

class IntervalColumns final : public ColumnSink {
  public:
    explicit IntervalColumns(ColumnChoice choice)
        : catalog(choice.catalog), signals(choice.catalog, std::move(choice.wanted)),
          gap(choice.settings.gap.value_or(~std::uint64_t{0})), hasRaw(choice.settings.raw.value_or(true)),
          hasText(choice.settings.text) {
        instance = columns.add({.name = "instance", .type = CellType::Int32, .texts = signals.instances()});
        channel = columns.add({.name = "channel", .type = CellType::UInt8, .isNullable = true});
        bus = columns.add({.name = "bus", .type = CellType::Int8, .texts = WantedSignals::buses()});
        from = columns.add({.name = "from", .type = CellType::Time});
        to = columns.add({.name = "to", .type = CellType::Time});
        count = columns.add({.name = "count", .type = CellType::UInt64});
        value = columns.add({.name = "value", .type = CellType::Double});
        if (hasRaw) {
            raw = columns.add({.name = "raw", .type = CellType::Int64});
        }
        if (hasText) {
            text = columns.add(
                {.name = "text", .type = CellType::Int32, .isNullable = true, .texts = signals.texts()});
        }
        all.front().signals = signals.indices();
        batchRows = rowsOfBatch(choice.settings, columns.rowBytes());
        latest.resize(catalog.signals().size(), none);
    }

    const std::vector<ColumnTable>& tables() const override { return all; }
    void schema(std::size_t /*table*/, ArrowSchema& out) const override { columns.schema(out); }

    void signalsAdded() override {
        signals.extend();
        latest.resize(catalog.signals().size(), none);
    }
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override {
        for (const unsigned long id : ids) {
            const std::size_t index = catalog.indexOf(id);
            if (WantedSignals::Signal* const signal = signals.find(index)) {
                take(seriesOf(index, message.origin), message.timestamp, signal->reader.raw());
            }
        }
    }
    /// The logger's inputs, which alone do so, have no channel: there is one series.
    void withdrawn(const MessageInfo& /*message*/, std::span<const unsigned long> ids) override {
        for (const unsigned long id : ids) {
            if (const std::uint32_t place = latest[catalog.indexOf(id)]; place != none) {
                close(series[place]);
            }
        }
    }

    bool closed() const override { return columns.rows() >= batchRows; }
    void finish() override { isAtEnd = true; }
    std::optional<std::size_t> takeComplete(ArrowArray& out) override {
        for (; isAtEnd && closedSeries < series.size() && !closed(); ++closedSeries) {
            close(series[closedSeries]);
        }
        if (columns.rows() == 0 || !(closed() || isAtEnd)) {
            return {};
        }
        columns.take(out);
        return 0;
    }

  private:
    static constexpr std::uint32_t none = ~std::uint32_t{0};

    /// The series that got the last value of the signal, or another one, or a new one.
    ValueSeries& seriesOf(std::size_t index, const MessageOrigin& origin) {
        std::uint32_t& last = latest[index];
        if (last == none || series[last].channel != origin.channel) {
            const std::uint64_t key = std::uint64_t{index} << 9 |
                                      std::uint64_t{origin.channel.has_value()} << 8 |
                                      origin.channel.value_or(0);
            const auto [place, isNew] = places.try_emplace(key, static_cast<std::uint32_t>(series.size()));
            if (isNew) {
                series.push_back({static_cast<std::uint32_t>(index), origin.channel, origin.kind});
            }
            last = place->second;
        }
        return series[last];
    }

    void take(ValueSeries& each, std::uint64_t time, std::uint64_t word) {
        const bool goesOn = each.count > 0 && each.raw == word && time >= each.to && time - each.to <= gap;
        if (!goesOn) {
            close(each);
            each.from = time;
            each.raw = word;
        }
        each.to = time;
        ++each.count;
    }

    void close(ValueSeries& each) {
        if (each.count > 0) {
            addRow(each, *signals.find(each.signal));
            each.count = 0;
        }
    }

    void addRow(const ValueSeries& each, WantedSignals::Signal& signal) {
        columns.put(instance, signal.instance);
        if (each.channel) {
            columns.put(channel, *each.channel);
        }
        columns.put(bus, each.kind);
        columns.put(from, each.from);
        columns.put(to, each.to);
        columns.put(count, each.count);
        columns.put(value, signal.reader.physical(each.raw));
        if (hasRaw) {
            columns.put(raw, each.raw);
        }
        if (hasText) {
            if (const std::int32_t number = signal.reader.text(each.raw); number != SignalReader::noText) {
                columns.put(text, number);
            }
        }
        columns.endRow();
    }

    const Catalog& catalog;
    WantedSignals signals;
    ColumnSet columns;
    std::vector<ColumnTable> all = std::vector<ColumnTable>(1);
    std::vector<ValueSeries> series;
    std::vector<std::uint32_t> latest;                       ///< by index in the catalog: place in `series`
    std::unordered_map<std::uint64_t, std::uint32_t> places; ///< by signal and channel
    std::size_t closedSeries = 0;                            ///< of `series`, at the end
    std::size_t batchRows = 1;
    std::uint64_t gap;
    bool hasRaw, hasText;
    bool isAtEnd = false;
    std::size_t instance, channel, bus, from, to, count, value, raw = 0, text = 0;
};

} // namespace

std::unique_ptr<ColumnSink> makeIntervalColumns(ColumnChoice choice) {
    return std::make_unique<IntervalColumns>(std::move(choice));
}

} // namespace rksignal
