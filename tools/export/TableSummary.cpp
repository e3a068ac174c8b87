#include "export/TableSummary.h"

#include "output/ListText.h"
#include "output/SummaryText.h"

#include <algorithm>
#include <ostream>
#include <string_view>

namespace rksignal {
namespace {

void printSignals(std::ostream& out, const char* headline, const std::vector<std::string_view>& names) {
    if (!names.empty()) {
        out << headline;
        printList(out, names, [&out](std::string_view name) { out << name; });
    }
}

/// Instances of columns for senders that nobody named.
std::vector<std::string_view> laterSenders(const Catalog& catalog, const std::vector<std::size_t>& columns) {
    std::vector<bool> isColumn(catalog.signals().size());
    for (const std::size_t column : columns) {
        isColumn[column] = true;
    }
    std::vector<std::string_view> names;
    for (std::size_t i = 0; i < isColumn.size(); ++i) {
        if (!isColumn[i] && isColumn[catalog.definedSignal(i)]) {
            names.push_back(catalog.signals()[i]->def.instance);
        }
    }
    return names;
}

void printGaps(std::ostream& out, const GridReport& report, const TimeFormat& times) {
    if (report.gaps > 0) {
        const GridGap& gap = report.firstGap;
        out << "no message came for " << gap.rows << " rows from " << timeText(gap.from, times) << " to "
            << timeText(gap.to, times) << ": they are left out";
        if (report.gaps > 1) {
            out << ", and those of " << report.gaps - 1 << " more gap" << plural(report.gaps - 1);
        }
        out << '\n';
    }
    if (report.heldGaps > 0) {
        out << report.heldGaps << " gap" << plural(report.heldGaps) << " between values of more than "
            << GridSettings().lookAhead << " rows: held, not interpolated\n";
    }
    if (report.backwards > 0) {
        out << report.backwards << " message" << plural(report.backwards)
            << " with an earlier time than one before: taken for the latest time so far\n";
    }
}

} // namespace

void printTableSummary(std::ostream& out, const Catalog& catalog, const std::vector<std::size_t>& columns,
                       const SignalGrid& grid, const TimeFormat& times) {
    std::size_t interpolated = 0;
    std::vector<std::string_view> silent;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        interpolated += grid.isInterpolated(i) ? 1 : 0;
        if (grid.values(i) == 0) {
            silent.push_back(catalog.signals()[columns[i]]->def.instance);
        }
    }
    const GridReport& report = grid.report();
    out << report.rows << " row" << plural(report.rows) << " of " << columns.size() << " signal"
        << plural(columns.size());
    if (interpolated > 0) {
        out << ", " << interpolated << " of them interpolated";
    }
    out << '\n';
    printSignals(out, "no value: ", silent);
    printSignals(out, "no column, as nobody named these senders: ", laterSenders(catalog, columns));
    printGaps(out, report, times);
}

} // namespace rksignal
