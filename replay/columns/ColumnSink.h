/// \file
/// Makes batches of the values of a replay: what the layouts have in common.
#pragma once

#include "columns/ArrowData.h"
#include "columns/ColumnStream.h"
#include "value/ValueSink.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace rksignal {

/// The most bytes that wait to be given out, in all batches.
constexpr std::size_t maxWaitingBytes = std::size_t{64} << 20;

/// Is closed while a batch is complete: the replay ends there, and goes on when the batch has been taken.
class ColumnSink : public ValueSink {
  public:
    virtual const std::vector<ColumnTable>& tables() const = 0;
    virtual void schema(std::size_t table, ArrowSchema& out) const = 0;

    /// Gives a complete batch away. \return its table, or nothing if none is complete
    virtual std::optional<std::size_t> takeComplete(ArrowArray& out) = 0;
    /// No more values come: every batch with a row is complete.
    virtual void finish() = 0;
};

/// What the layouts need. `wanted` has an entry for each of Catalog::signals(); what the replay adds is
/// wanted like the signal that it is an instance of.
struct ColumnChoice {
    const Catalog& catalog;
    std::vector<bool> wanted;
    const ColumnSettings& settings;
};

/// The number of rows with which a batch of the only table is complete.
inline std::size_t rowsOfBatch(const ColumnSettings& settings, std::size_t rowBytes) {
    return std::clamp<std::size_t>(settings.batchRows, 1, maxWaitingBytes / rowBytes);
}

std::unique_ptr<ColumnSink> makeLongColumns(ColumnChoice choice);
std::unique_ptr<ColumnSink> makeIntervalColumns(ColumnChoice choice);
std::unique_ptr<ColumnSink> makeMessageColumns(ColumnChoice choice);

} // namespace rksignal
