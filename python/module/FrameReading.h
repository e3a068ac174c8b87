/// \file
/// Raw frames of traces in columns, for Python.
#pragma once

#include "Batch.h"
#include "FrameColumns.h"
#include "TraceReading.h"

#include <memory>

namespace rksignal::python {

/// Reads the frames of CAN, LIN, FlexRay and Ethernet. For one thread at a time.
class FrameReading {
  public:
    /// \throws Error
    FrameReading(const TraceRequest& request, std::size_t batchRows)
        : reading(request, {}), rows(batchRows),
          schema(std::make_shared<const Schema>(FrameColumns::schema())) {}

    /// \return the next frames; null at the end \throws Error, nb::python_error
    std::shared_ptr<Batch> next();
    /// The columns, as a capsule.
    nb::object schemaCapsule() const { return capsuleOf(copySchema(**schema)); }
    nb::list remarks() const { return reading.remarks(); }

  private:
    TraceReading reading;
    std::size_t rows;
    std::shared_ptr<const Schema> schema;
};

void bindFrameReading(nb::module_& module);

} // namespace rksignal::python
