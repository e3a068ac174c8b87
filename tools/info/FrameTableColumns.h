/// \file
/// The columns in which frames are listed.
#pragma once

#include "survey/Survey.h"
#include "text/NumberText.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// A row of the list.
struct FrameRow {
    const FrameStatistics* frames;
    std::string names; ///< of messages, from definitions
};

enum class CellForm : std::uint8_t {
    Text,
    Number, ///< or empty
    Time,
};

struct FrameColumn {
    std::string_view name;
    CellForm form;
    /// `times` is what times are shown in.
    std::string (*cell)(const FrameRow& row, const TimeFormat& times);
    /// Rows are sorted by this from the greatest on; null: by the text of the cell.
    double (*size)(const FrameStatistics& frames);
};

std::span<const FrameColumn> frameColumns();

/// The bytes that changed, as `0-1,4`; those that nobody has looked at are not among them.
std::string changedBytesText(const ByteChanges& changes);

/// Nanoseconds as milliseconds, rounded to microseconds.
std::string millisecondsText(std::uint64_t nanoseconds);

/// By bus, channel and identity; then, if `column` is not empty, by that column: numbers from the greatest
/// on, times and texts from the first on. REQUIRES: it is empty or the name of a column.
void sortRows(std::vector<FrameRow>& rows, std::string_view column);

} // namespace rksignal
