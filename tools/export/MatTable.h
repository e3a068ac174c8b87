/// \file
/// A table as a MAT-file of level 5, which MATLAB, Octave and SciPy load.
#pragma once

#include "export/Table.h"
#include "output/OutputBuffer.h"
#include "output/SpoolFile.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

/// The file has a column of doubles `time`, in seconds since the text `start`; one for each signal, `NaN`
/// where it has no value; and the array of cells `signals`, a row for each of them: variable, name, unit.
///
/// A variable lies in the file as a whole, so that the rows are kept until their number is known: in blocks
/// of columns in a file without a name in TMPDIR, which needs the room of the result. In memory there are
/// two blocks of at most 8 MB, of more for more than 65,536 columns.
class MatTable final : public Table {
  public:
    /// `start` is what `time` counts from, in nanoseconds. `out` must outlive the table.
    MatTable(const std::vector<TableColumn>& columns, std::uint64_t start, OutputBuffer& out);

    /// \throws std::runtime_error when a variable would be larger than a file of level 5 can hold, after
    /// 268 million rows; std::system_error
    void row(std::uint64_t timestamp, std::span<const GridCell> cells) override;
    void finish() override;
    bool closed() const override { return out.closed(); }

  private:
    void writeColumn(const std::string& variable, std::size_t column);

    std::vector<std::vector<std::string>> signals; ///< variable, name and unit of each
    std::uint64_t start;
    OutputBuffer& out;
    SpoolFile spool;
    std::size_t blockRows;
    std::vector<double> block; ///< column by column
    std::uint64_t rows = 0;
};

} // namespace rksignal
