/// \file
/// Rows in columns, as Python holds them.
#pragma once

#include "Arrow.h"

#include <memory>
#include <string>

namespace rksignal::python {

/// Some rows of a table. Does not change: for any number of threads.
class Batch {
  public:
    /// \param table the name of its message, empty if its rows are those of all messages
    Batch(std::string table, std::shared_ptr<const Schema> schema, Array array)
        : name(std::move(table)), columns(std::move(schema)),
          content(std::make_shared<const Array>(std::move(array))) {}

    const std::string& table() const { return name; }
    const ArrowSchema& schema() const { return **columns; }
    const ArrowArray& array() const { return **content; }
    /// What keeps the buffers of array().
    std::shared_ptr<const void> owner() const { return content; }

  private:
    std::string name;
    std::shared_ptr<const Schema> columns;
    std::shared_ptr<const Array> content;
};

void bindBatch(nb::module_& module);

} // namespace rksignal::python
