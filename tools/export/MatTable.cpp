#include "export/MatTable.h"

#include "export/MatElements.h"
#include "export/MatVariables.h"
#include "text/NumberText.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <stdexcept>

namespace rksignal {
namespace {

static_assert(std::endian::native == std::endian::little); // numbers are written as they lie in memory

constexpr std::size_t blockBytes = std::size_t{8} << 20;
constexpr std::size_t leastBlockRows = 16;
constexpr std::size_t mostBlockRows = 4096;
constexpr std::uint64_t mostHead = 1024; ///< bytes before the numbers of a variable

double secondsBetween(std::uint64_t from, std::uint64_t to) {
    return to >= from ? static_cast<double>(to - from) / 1e9 : -static_cast<double>(from - to) / 1e9;
}

std::span<const char> bytesOf(const std::vector<double>& numbers) {
    return {reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(double)};
}

} // namespace

MatTable::MatTable(const std::vector<TableColumn>& columns, std::uint64_t start, OutputBuffer& out)
    : start(start), out(out), blockRows(std::clamp(blockBytes / sizeof(double) / (columns.size() + 1),
                                                   leastBlockRows, mostBlockRows)),
      block(blockRows * (columns.size() + 1)) {
    MatVariables variables({"time", "start", "signals"});
    for (const TableColumn& column : columns) {
        signals.push_back({variables.add(column.name), column.name, column.unit});
    }
}

void MatTable::row(std::uint64_t timestamp, std::span<const GridCell> cells) {
    if ((rows + 1) * sizeof(double) > mat::largestVariable - mostHead) {
        throw std::runtime_error("the table has more rows than a MAT-file can hold: " + std::to_string(rows));
    }
    double* place = block.data() + rows % blockRows;
    *place = secondsBetween(start, timestamp);
    for (const GridCell& cell : cells) {
        place += blockRows;
        *place = cell.isFilled ? cell.value : std::numeric_limits<double>::quiet_NaN();
    }
    if (++rows % blockRows == 0) {
        spool.write(bytesOf(block));
    }
}

void MatTable::finish() {
    if (rows % blockRows != 0) {
        spool.write(bytesOf(block)); // with what it held before behind the last row
    }
    out.append(mat::fileHead());
    out.append(mat::textElement("start", timeText(start, {.style = TimeStyle::Iso, .start = 0})));
    out.append(mat::cellArray("signals", signals));
    writeColumn("time", 0);
    for (std::size_t i = 0; i < signals.size(); ++i) {
        writeColumn(signals[i][0], i + 1);
    }
    out.endRow();
}

void MatTable::writeColumn(const std::string& variable, std::size_t column) {
    out.append(mat::columnHead(variable, rows));
    const std::uint64_t bytesPerBlock = block.size() * sizeof(double);
    std::vector<char> piece(blockRows * sizeof(double));
    for (std::uint64_t done = 0; done < rows && !out.closed(); done += blockRows) {
        const auto length =
            static_cast<std::size_t>(std::min<std::uint64_t>(blockRows, rows - done)) * sizeof(double);
        spool.read(done / blockRows * bytesPerBlock + column * piece.size(), std::span(piece).first(length));
        out.append({piece.data(), length});
    }
}

} // namespace rksignal
