/// \file
/// A table as text with separators.
#pragma once

#include "export/Table.h"
#include "output/OutputBuffer.h"
#include "text/NumberText.h"

#include <span>
#include <vector>

namespace rksignal {

/// The signs that spreadsheets of a country expect.
struct CsvSigns {
    char separator = ',';
    char decimal = '.';
};

/// CSV as RFC 4180 has it, but with bare line feeds, and with the separator and the decimal mark that are
/// asked for: a header of `NAME [UNIT]`, then a line a row. A cell without a value is empty.
class CsvTable final : public Table {
  public:
    /// Writes the header. `out` must outlive the table.
    CsvTable(const std::vector<TableColumn>& columns, const TimeFormat& times, const CsvSigns& signs,
             OutputBuffer& out);

    void row(std::uint64_t timestamp, std::span<const GridCell> cells) override;
    bool closed() const override { return out.closed(); }

  private:
    void appendNumber(char* begin, char* end);

    CsvSigns signs;
    TimeText time;
    OutputBuffer& out;
};

} // namespace rksignal
