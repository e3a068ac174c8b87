#include "output/RowSink.h"

#include <utility>

namespace rksignal {

RowSink::RowSink(const Catalog& catalog, const RowSyntax& syntax, OutputBuffer& out, Options options)
    : catalog(catalog), syntax(syntax), out(out), format(syntax, out, options.times),
      changedOnly(options.changedOnly) {
    for (std::size_t i = 0; i < catalog.signals().size(); ++i) {
        addColumn(i, options.selected[i]);
    }
    out.append(syntax.header);
}

void RowSink::addColumn(std::size_t signal, bool selected) {
    BaseSignal& added = *catalog.signals()[signal];
    columns.push_back({&added, SignalCells(added, syntax), selected, false});
}

void RowSink::signalsAdded() {
    for (std::size_t i = columns.size(); i < catalog.signals().size(); ++i) {
        addColumn(i, columns[catalog.definedSignal(i)].selected);
    }
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
