/// \file
/// A table with aligned columns for a reader.
#pragma once

#include "output/OutputBuffer.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {

/// Collects rows, the first one of which are the names of the columns, and writes them when they are all
/// there. Texts are UTF-8; control characters in them become blanks.
class TextTable {
  public:
    struct Column {
        std::string name;
        bool rightAligned = false;
    };

    explicit TextTable(std::vector<Column> columns);

    /// REQUIRES: as many cells as there are columns.
    void add(std::vector<std::string> cells);
    /// The number of rows, without the names.
    std::size_t size() const { return rows.size() - 1; }
    void write(OutputBuffer& out) const;

  private:
    std::vector<Column> columns;
    std::vector<std::vector<std::string>> rows;
};

} // namespace rksignal
