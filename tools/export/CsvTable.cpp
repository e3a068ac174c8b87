#include "export/CsvTable.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace rksignal {
namespace {

std::string headerCell(const TableColumn& column, char separator) {
    std::string text = column.unit.empty() ? column.name : column.name + " [" + column.unit + ']';
    if (text.find_first_of(std::string("\"\r\n") + separator) == text.npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char character : text) {
        quoted.append(character == '"' ? 2 : 1, character);
    }
    return quoted + '"';
}

} // namespace

CsvTable::CsvTable(const std::vector<TableColumn>& columns, const TimeFormat& times, const CsvSigns& signs,
                   OutputBuffer& out)
    : signs(signs), time(times), out(out) {
    out.append(headerCell({"time", time.isText() ? "" : "s"}, signs.separator));
    for (const TableColumn& column : columns) {
        out.append(std::string(1, signs.separator) + headerCell(column, signs.separator));
    }
    out.append("\n");
}

void CsvTable::row(std::uint64_t timestamp, std::span<const GridCell> cells) {
    char* const text = out.reserve(maxNumberText);
    char* const end = time.write(text, timestamp);
    if (time.isText()) {
        out.advance(end);
    } else {
        appendNumber(text, end);
    }
    for (const GridCell& cell : cells) {
        char* const begin = out.reserve(1 + maxNumberText);
        *begin = signs.separator;
        appendNumber(begin + 1, cell.isFilled ? writeDouble(begin + 1, cell.value) : begin + 1);
    }
    out.append("\n");
    out.endRow();
}

/// Appends what has been written to the room that `out` reserved.
void CsvTable::appendNumber(char* begin, char* end) {
    if (signs.decimal != '.') {
        std::replace(begin, end, '.', signs.decimal);
    }
    out.advance(end);
}

} // namespace rksignal
