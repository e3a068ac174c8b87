/// \file
/// The values of slots as a table, or as rows.
#pragma once

#include "live/SlotReplay.h"
#include "output/OutputBuffer.h"
#include "output/RowFormat.h"
#include "watch/WatchModel.h"

#include <vector>

namespace rksignal {

/// Writes a table with one line for each signal, in the order of the model.
void writeSlotTable(const WatchModel& model, const SlotReplay& slots, const WatchTime& time,
                    OutputBuffer& out);

/// Writes one row for each signal that is wanted. Those without a value have a time, a value and a raw value
/// that are empty.
void writeSlotRows(const Catalog& catalog, const std::vector<bool>& wanted, const RowSyntax& syntax,
                   const TimeFormat& times, OutputBuffer& out);

/// Writes a row for each value as it comes, and one without a value when a value is taken away. What was
/// written is there for the reader after flush().
class SlotRows : public ValueSink {
  public:
    SlotRows(const Catalog& catalog, const RowSyntax& syntax, const TimeFormat& times, OutputBuffer& out);

    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) override;
    bool closed() const override { return out.closed(); }

  private:
    const Catalog& catalog;
    OutputBuffer& out;
    RowFormat format;
    std::vector<SignalCells> cells; ///< as Catalog::signals()
};

} // namespace rksignal
