/// \file
/// Writes a row for each value as it is decoded.
#pragma once

#include "catalog/Catalog.h"
#include "output/RowFormat.h"
#include "value/ValueSink.h"

#include <span>
#include <vector>

namespace rksignal {

class RowSink : public ValueSink {
  public:
    struct Options {
        std::vector<bool> selected; ///< by index in Catalog::signals(); rows of other signals are left out
        bool changedOnly = false;   ///< only values whose raw value differs from the one before
        TimeFormat times = {};
    };

    /// Writes the header. Everything must outlive the sink, and the catalog must be complete. What the replay
    /// adds is selected as the signal that it is an instance of.
    RowSink(const Catalog& catalog, const RowSyntax& syntax, OutputBuffer& out, Options options);

    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void signalsAdded() override;
    bool closed() const override { return out.closed(); }

  private:
    struct Column {
        BaseSignal* signal;
        SignalCells cells;
        RowEndings endings;
        bool selected;
        bool seen;
    };

    static bool isChanged(Column& column);
    void addColumn(std::size_t signal, bool selected);

    const Catalog& catalog;
    const RowSyntax& syntax;
    OutputBuffer& out;
    RowFormat format;
    std::vector<Column> columns; ///< as Catalog::signals()
    bool changedOnly;
};

} // namespace rksignal
