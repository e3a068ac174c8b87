/// \file
/// Writes a row for each value as it is decoded.
#pragma once

#include "catalog/Catalog.h"
#include "output/RowFormat.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <deque>
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
    void writtenWhole(const MessageInfo& message, std::size_t number,
                      std::span<const unsigned long> ids) override;
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

    /// The rows of a message that is written as a whole.
    struct Whole {
        bool isPrepared = false;
        bool isPossible = false;
        std::vector<PreparedRow> rows;
    };

    static bool isChanged(Column& column);
    void prepare(Whole& whole, std::span<const unsigned long> ids);
    void addColumn(std::size_t signal, bool selected);

    const Catalog& catalog;
    const RowSyntax& syntax;
    OutputBuffer& out;
    RowFormat format;
    std::deque<Column> columns; ///< as Catalog::signals(); where they stay
    std::vector<Whole> wholes;  ///< as Catalog::messages()
    bool changedOnly;
};

} // namespace rksignal
