/// \file
/// Writes a row for each firing.
#pragma once

#include "condition/Firing.h"
#include "output/OutputBuffer.h"
#include "output/RowFormat.h"
#include "text/NumberText.h"

#include <string>

namespace rksignal {

/// A row has the time, the channel and bus of the message, the name of the condition, and of each signal of
/// the condition, in the order of their names, the value, the unit and the age: the seconds since its own
/// time stamp.
///
/// As CSV the signals share a cell, so that all rows have the same columns; as JSON lines they are objects.
class FiringRows : public FiringSink {
  public:
    /// Writes the header, if wanted. Everything must outlive the sink.
    FiringRows(const RowSyntax& syntax, OutputBuffer& out, const TimeFormat& times, bool withHeader = true);

    void fired(const Firing& firing) override;
    bool closed() const override { return out.closed(); }

  private:
    static std::string csvSignals(const Firing& firing);
    std::string jsonSignals(const Firing& firing) const;

    const RowSyntax& syntax;
    OutputBuffer& out;
    TimeText time;
};

} // namespace rksignal
