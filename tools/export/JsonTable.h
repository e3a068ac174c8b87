/// \file
/// A table as JSON lines.
#pragma once

#include "export/Table.h"
#include "output/OutputBuffer.h"
#include "text/NumberText.h"

#include <span>
#include <string>
#include <vector>

namespace rksignal {

/// An object a row: `{"time":1.5,"Engine.Speed":800}`. Cells without a value, and numbers that JSON does not
/// have, are `null`.
class JsonTable final : public Table {
  public:
    /// `out` must outlive the table.
    JsonTable(const std::vector<TableColumn>& columns, const TimeFormat& times, OutputBuffer& out);

    void row(std::uint64_t timestamp, std::span<const GridCell> cells) override;
    bool closed() const override { return out.closed(); }

  private:
    std::vector<std::string> keys; ///< with what stands before and behind them
    TimeText time;
    OutputBuffer& out;
};

} // namespace rksignal
