/// \file
/// Slots as rows for readers and programs.
#pragma once

#include "catalog/Catalog.h"
#include "output/OutputBuffer.h"
#include "signal/SlotInventory.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// The name of a fault in rows: `left-over`.
std::string_view faultName(SlotFault fault);

/// What is wrong, in words: `left over`, `locked by thread 4711, which is gone`.
std::string faultText(SlotFault fault, const SlotRecord& slot);

/// Writes a table with aligned columns. Raw values are shown by the type of the signal in `catalog`, else
/// as hexadecimal numbers. `now` in nanoseconds since 1970-01-01 UTC.
void writeSlotTable(const std::vector<SlotRecord>& slots, const Catalog& catalog, std::uint64_t now,
                    OutputBuffer& out);
/// Writes rows of CSV with a header. Raw values are unsigned decimal numbers.
void writeSlotCsv(const std::vector<SlotRecord>& slots, OutputBuffer& out);
/// Writes a JSON object a line.
void writeSlotJson(const std::vector<SlotRecord>& slots, OutputBuffer& out);

} // namespace rksignal
