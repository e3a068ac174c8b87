/// \file
/// The forms in which `rksignal info` writes what it has found.
#pragma once

#include "info/BitRates.h"
#include "info/DefinitionRank.h"
#include "info/FrameTableColumns.h"
#include "output/OutputBuffer.h"
#include "output/RowFormat.h"
#include "survey/Survey.h"
#include "trace/Trace.h"

#include <iosfwd>
#include <vector>

namespace rksignal {

/// All that there is to say; everything that it refers to outlives it.
struct InfoReport {
    const Trace& traces;
    const Survey& survey;
    const BitRates& rates;
    std::vector<FrameRow> rows;
    std::vector<DefinitionFit> fits; ///< the best one first
    TimeFormat times;

    /// What is said of the whole, of channels and of definitions, for a reader.
    void writeOverview(OutputBuffer& out) const;
    /// The rows as a table.
    void writeTable(OutputBuffer& out) const;
    /// The rows as CSV or JSON lines.
    void writeRows(OutputBuffer& out, const RowSyntax& syntax) const;
    /// Everything as one JSON object.
    void writeJson(OutputBuffer& out) const;
};

} // namespace rksignal
