/// \file
/// Counts values while they are decoded, and writes the last one of each signal at the end.
#pragma once

#include "catalog/Catalog.h"
#include "output/RowFormat.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace rksignal {

class LastValues : public ValueSink {
  public:
    /// Signals for which `selected` (by index in Catalog::signals()) does not hold are left out, and those
    /// that the replay adds as instances of these. The catalog must be complete and outlive the sink.
    LastValues(const Catalog& catalog, std::vector<bool> selected, const TimeFormat& times);

    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void writtenWhole(const MessageInfo& message, std::size_t number,
                      std::span<const unsigned long> ids) override;
    void signalsAdded() override;

    /// The values that follow lie in a block of this number.
    void enterBlock(std::uint64_t number) { block = number; }
    /// Takes over what a sink for a catalog with the same signals has met in other blocks. Its catalog must
    /// outlive this sink, whose values are of it where it has the later ones.
    void add(const LastValues& others);

    /// Writes a row for each signal that has got a value and not lost it, in the order of definition.
    void writeRows(const RowSyntax& syntax, OutputBuffer& out) const;

    /// The same as a table with aligned columns for a reader.
    void writeTable(OutputBuffer& out) const;

  private:
    struct Tally {
        std::uint64_t count = 0;
        MessageOrigin origin;        ///< of the last value
        std::uint64_t turn = 0;      ///< in which that came
        std::uint64_t block = 0;     ///< in which that came, too
        BaseSignal* other = nullptr; ///< of another catalog, has the last value; null: that of `catalog`
    };
    /// Of all signals of a message at once.
    struct Whole {
        std::span<const unsigned long> ids;
        Tally tally;
    };

    std::vector<Tally> allTallies() const;

    template <class Function>
    void forEachSeen(Function&& function) const;

    const Catalog& catalog;
    std::vector<bool> selected;
    TimeFormat times;
    std::vector<Tally> tallies; ///< as Catalog::signals(): but for what is in `wholes`
    std::vector<Whole> wholes;  ///< as Catalog::messages()
    std::uint64_t turn = 0;     ///< counts the calls that brought values
    std::uint64_t block = 0;
};

} // namespace rksignal
