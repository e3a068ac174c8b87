/// \file
/// A table of signals over time, in whatever form it is written.
#pragma once

#include "grid/SignalGrid.h"

#include <string>
#include <vector>

namespace rksignal {

/// What a column holds.
struct TableColumn {
    std::string name; ///< of the instance
    std::string unit; ///< may be empty
};

class Table : public GridSink {
  public:
    /// To be called behind the last row.
    virtual void finish() {}
};

} // namespace rksignal
