// The layout Long: a row a value.

#include "columns/ColumnSet.h"
#include "columns/ColumnSink.h"
#include "columns/WantedSignals.h"

#include <utility>

namespace rksignal {
namespace {

class LongColumns final : public ColumnSink {
  public:
    explicit LongColumns(ColumnChoice choice)
        : signals(choice.catalog, std::move(choice.wanted)), hasRaw(choice.settings.raw.value_or(true)),
          hasText(choice.settings.text) {
        time = columns.add({.name = "time", .type = CellType::Time});
        channel = columns.add({.name = "channel", .type = CellType::UInt8, .isNullable = true});
        bus = columns.add({.name = "bus", .type = CellType::Int8, .texts = WantedSignals::buses()});
        instance = columns.add({.name = "instance", .type = CellType::Int32, .texts = signals.instances()});
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
    }

    const std::vector<ColumnTable>& tables() const override { return all; }
    void schema(std::size_t /*table*/, ArrowSchema& out) const override { columns.schema(out); }

    void signalsAdded() override { signals.extend(); }
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override {
        for (const unsigned long id : ids) {
            if (WantedSignals::Signal* const signal = signals.findId(id)) {
                addRow(message, *signal);
            }
        }
    }

    bool closed() const override { return columns.rows() >= batchRows; }
    void finish() override { batchRows = 1; }
    std::optional<std::size_t> takeComplete(ArrowArray& out) override {
        if (!closed()) {
            return {};
        }
        columns.take(out);
        return 0;
    }

  private:
    void addRow(const MessageInfo& message, WantedSignals::Signal& signal) {
        const std::uint64_t word = signal.reader.raw();
        columns.put(time, message.timestamp);
        if (message.origin.channel) {
            columns.put(channel, *message.origin.channel);
        }
        columns.put(bus, message.origin.kind);
        columns.put(instance, signal.instance);
        columns.put(value, signal.reader.physical(word));
        if (hasRaw) {
            columns.put(raw, word);
        }
        if (hasText) {
            if (const std::int32_t number = signal.reader.text(word); number != SignalReader::noText) {
                columns.put(text, number);
            }
        }
        columns.endRow();
    }

    WantedSignals signals;
    ColumnSet columns;
    std::vector<ColumnTable> all = std::vector<ColumnTable>(1);
    std::size_t batchRows = 1;
    bool hasRaw, hasText;
    std::size_t time, channel, bus, instance, value, raw = 0, text = 0;
};

} // namespace

std::unique_ptr<ColumnSink> makeLongColumns(ColumnChoice choice) {
    return std::make_unique<LongColumns>(std::move(choice));
}

} // namespace rksignal
