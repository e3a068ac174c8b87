/// \file
/// The columns of one table, row by row, until they are given out as a batch.
#pragma once

#include "columns/ArrowData.h"
#include "columns/Column.h"
#include "columns/TextDictionary.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace rksignal {

enum class CellType : std::uint8_t {
    Int8,
    UInt8,
    Int16,
    UInt16,
    Int32,
    UInt32,
    Int64,
    UInt64,
    Float,
    Double,
    Time
};

/// The type of an index into so many texts.
constexpr CellType indexType(std::size_t texts) {
    return texts <= 128 ? CellType::Int8 : texts <= 32768 ? CellType::Int16 : CellType::Int32;
}

struct ColumnField {
    std::string name;
    CellType type;
    bool isNullable = false;
    std::shared_ptr<TextDictionary> texts = nullptr; ///< of the cells, which are indices; null: they are none
    std::string metadata = {};                       ///< of ArrowMetadata
};

/// Rows are filled in from left to right or in any other order; a nullable cell that gets nothing is null.
class ColumnSet {
  public:
    /// `metadata` is about the table, of ArrowMetadata.
    explicit ColumnSet(std::string metadata = {}) : metadata(std::move(metadata)) {}

    /// Adds a column. REQUIRES: there is no row. \return its number
    std::size_t add(ColumnField field);

    std::size_t rows() const { return count; }
    std::size_t rowBytes() const { return bytes; } ///< of a row without nulls

    /// Puts a cell of the type of the column into the row that has been begun.
    template <class Cell>
    void put(std::size_t column, Cell cell) {
        columns[column].put(count, cell);
    }
    /// The same of a column of integers, whatever their width.
    void putInteger(std::size_t column, std::uint64_t value);
    void endRow() { ++count; }

    /// All columns, as a struct.
    void schema(ArrowSchema& out) const;
    /// Gives all rows away, as a struct.
    void take(ArrowArray& out);

  private:
    std::string metadata;
    std::vector<ColumnField> fields;
    std::vector<Column> columns; ///< as fields
    std::size_t bytes = 0;
    std::size_t count = 0;
};

} // namespace rksignal
