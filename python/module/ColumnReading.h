/// \file
/// Values of traces in columns, for Python.
#pragma once

#include "Batch.h"
#include "Definitions.h"
#include "TraceReading.h"

#include "columns/ColumnStream.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace rksignal::python {

/// A run over traces with signals of its own. For one thread at a time.
class ColumnReading {
  public:
    /// \param signals names of instances; nothing: all \throws Error
    ColumnReading(const Definitions& definitions, const TraceRequest& request, ColumnSettings settings,
                  const std::optional<std::vector<std::string>>& signals);

    /// \return the next rows; null at the end \throws Error, nb::python_error
    std::shared_ptr<Batch> next();
    /// The tables, named, with their schemas, as capsules.
    nb::list tables() const;
    /// See TraceReading; and whether nothing had a definition.
    nb::list remarks() const;

  private:
    std::shared_ptr<const Schema> schemaOf(std::size_t table);

    std::unique_ptr<Catalog> catalog;
    TraceReading reading;
    std::unique_ptr<ColumnStream> stream;
    std::vector<std::shared_ptr<const Schema>> schemas; ///< by table, as far as they were needed
};

void bindColumnReading(nb::module_& module);

} // namespace rksignal::python
