#include "output/TextTable.h"

#include "output/TextWidth.h"

#include <algorithm>

namespace rksignal {

TextTable::TextTable(std::vector<Column> columns) : columns(std::move(columns)) {
    std::vector<std::string> names;
    for (const Column& column : this->columns) {
        names.push_back(column.name);
    }
    rows.push_back(std::move(names));
}

void TextTable::add(std::vector<std::string> cells) {
    for (std::string& cell : cells) {
        std::replace_if(
            cell.begin(), cell.end(), [](unsigned char byte) { return byte < ' '; }, ' ');
    }
    rows.push_back(std::move(cells));
}

void TextTable::write(OutputBuffer& out) const {
    std::vector<std::size_t> widths(columns.size());
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < columns.size(); ++i) {
            widths[i] = std::max(widths[i], textWidth(row[i]));
        }
    }
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const std::string padding(widths[i] - textWidth(row[i]), ' ');
            line += i == 0 ? "" : "  ";
            line += columns[i].rightAligned ? padding + row[i] : row[i] + padding;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out.append(line + '\n');
        out.endRow();
    }
}

} // namespace rksignal
