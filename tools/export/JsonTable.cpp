#include "export/JsonTable.h"

#include "output/RowFormat.h"

#include <cmath>

namespace rksignal {

JsonTable::JsonTable(const std::vector<TableColumn>& columns, const TimeFormat& times, OutputBuffer& out)
    : time(times), out(out) {
    for (const TableColumn& column : columns) {
        keys.push_back(',' + jsonSyntax.quote(column.name) + ':');
    }
}

void JsonTable::row(std::uint64_t timestamp, std::span<const GridCell> cells) {
    const char* const quote = time.isText() ? "\"" : "";
    out.append("{\"time\":");
    out.append(quote);
    out.advance(time.write(out.reserve(maxNumberText), timestamp));
    out.append(quote);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        out.append(keys[i]);
        if (cells[i].isFilled && std::isfinite(cells[i].value)) {
            out.advance(writeDouble(out.reserve(maxNumberText), cells[i].value));
        } else {
            out.append("null");
        }
    }
    out.append("}\n");
    out.endRow();
}

} // namespace rksignal
