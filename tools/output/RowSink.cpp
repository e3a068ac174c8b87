#include "output/RowSink.h"

#include <utility>

namespace rksignal {

RowSink::RowSink(const Catalog& catalog, const RowSyntax& syntax, OutputBuffer& out, Options options)
    : catalog(catalog), out(out), format(syntax, out), changedOnly(options.changedOnly) {
    columns.reserve(catalog.signals().size());
    for (const auto& signal : catalog.signals()) {
        const bool selected = options.selected[columns.size()];
        columns.push_back({signal.get(), SignalCells(*signal, syntax), selected, false});
    }
    out.append(syntax.header);
}

void RowSink::written(const MessageInfo& message, std::span<const unsigned long> ids) {
    format.setMessage(message);
    for (const unsigned long id : ids) {
        Column& column = columns[catalog.indexOf(id)];
        // The first value counts as a change, whatever the slot held before.
        const bool changed = !std::exchange(column.seen, true) || column.signal->isModified();
        if (column.selected && (changed || !changedOnly)) {
            format.write(column.cells, column.signal->def.type, ValueSample::of(*column.signal));
        }
    }
}

} // namespace rksignal
