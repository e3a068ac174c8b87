#include "output/RowSink.h"

#include <utility>

namespace rksignal {

RowSink::RowSink(const Catalog& catalog, const RowSyntax& syntax, OutputBuffer& out, Options options)
    : catalog(catalog), syntax(syntax), out(out), format(syntax, out, options.times),
      wholes(catalog.messages().size()), changedOnly(options.changedOnly) {
    for (std::size_t i = 0; i < catalog.signals().size(); ++i) {
        addColumn(i, options.selected[i]);
    }
    out.append(syntax.header);
}

void RowSink::addColumn(std::size_t signal, bool selected) {
    BaseSignal& added = *catalog.signals()[signal];
    const std::uint64_t greatest = added.d_maksBits;
    columns.push_back({&added, SignalCells(added, syntax), RowEndings(greatest), selected, false});
}

void RowSink::signalsAdded() {
    for (std::size_t i = columns.size(); i < catalog.signals().size(); ++i) {
        addColumn(i, columns[catalog.definedSignal(i)].selected);
    }
}

/// The first value counts as a change, whatever the slot held before.
bool RowSink::isChanged(Column& column) {
    return !std::exchange(column.seen, true) || column.signal->isModified();
}

void RowSink::written(const MessageInfo& message, std::span<const unsigned long> ids) {
    format.setMessage(message);
    for (const unsigned long id : ids) {
        Column& column = columns[catalog.indexOf(id)];
        if (column.selected && (!changedOnly || isChanged(column))) {
            format.write(column.cells, *column.signal, column.endings);
        }
    }
}

void RowSink::writtenWhole(const MessageInfo& message, std::size_t number,
                           std::span<const unsigned long> ids) {
    Whole& whole = wholes[number];
    if (!whole.isPrepared) {
        prepare(whole, ids);
    }
    if (!whole.isPossible) {
        return written(message, ids);
    }
    if (!whole.rows.empty()) {
        format.setMessage(message);
        format.write(whole.rows);
    }
}

void RowSink::prepare(Whole& whole, std::span<const unsigned long> ids) {
    whole.isPrepared = true;
    whole.isPossible = format.isPreparing() && !changedOnly;
    for (const unsigned long id : ids) {
        Column& column = columns[catalog.indexOf(id)];
        if (column.selected) {
            whole.isPossible = whole.isPossible && PreparedRow::canPrepare(column.cells, *column.signal);
            whole.rows.emplace_back(column.cells, *column.signal, column.endings);
        }
    }
}

} // namespace rksignal
