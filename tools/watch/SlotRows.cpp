#include "watch/SlotRows.h"

#include "output/TextTable.h"

namespace rksignal {

void writeSlotTable(const WatchModel& model, const SlotReplay& slots, const WatchTime& time,
                    OutputBuffer& out) {
    TextTable table({{"instance"}, {"value", true}, {"unit"}, {"text"}, {"age", true}});
    for (const std::size_t signal : model.shown()) {
        WatchRow row = model.row(signal, slots, time);
        table.add({std::string(2 * row.level, ' ') + row.name, row.value, row.unit, row.text, row.age});
    }
    table.write(out);
}

void writeSlotRows(const Catalog& catalog, const std::vector<bool>& wanted, const RowSyntax& syntax,
                   const TimeFormat& times, OutputBuffer& out) {
    RowFormat format(syntax, out, times);
    out.append(syntax.header);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (!wanted[i]) {
            continue;
        }
        BaseSignal& signal = *catalog.signals()[i];
        const MessageDefinition& message = *catalog.origin(i).message;
        const MessageOrigin origin{message.channel, message.kind};
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (signal.read(raw, timestamp)) {
            format.setMessage({timestamp, origin});
            format.write(SignalCells(signal, syntax), signal.def.type, ValueSample::of(signal));
        } else {
            format.setOrigin(origin);
            format.writeWithoutValue(SignalCells(signal, syntax));
        }
    }
}

SlotRows::SlotRows(const Catalog& catalog, const RowSyntax& syntax, const TimeFormat& times,
                   OutputBuffer& out)
    : catalog(catalog), out(out), format(syntax, out, times) {
    for (const auto& signal : catalog.signals()) {
        cells.emplace_back(*signal, syntax);
    }
    out.append(syntax.header);
}

void SlotRows::written(const MessageInfo& message, std::span<const unsigned long> ids) {
    format.setMessage(message);
    for (const unsigned long id : ids) {
        const std::size_t index = catalog.indexOf(id);
        BaseSignal& signal = *catalog.signals()[index];
        format.write(cells[index], signal.def.type, ValueSample::of(signal));
    }
}

void SlotRows::withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) {
    format.setMessage(message);
    for (const unsigned long id : ids) {
        format.writeWithoutValue(cells[catalog.indexOf(id)]);
    }
}

} // namespace rksignal
