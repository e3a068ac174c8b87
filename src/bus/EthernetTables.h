/// \file
/// The tables by which Ethernet frames find their signals.
#pragma once

#include "bus/EthernetFrameTable.h"
#include "bus/FrameKeySet.h"
#include "signal/ChangeCounter.h"
#include "signal/FrameTable.h"
#include "signal/StorageTables.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

/// The four tables of EthernetSignal, which documents them: the class-wide ones, or those of a storage that
/// stands alone.
class EthernetTables : public BusTables {
  public:
    explicit EthernetTables(ChangeCounter& changes) : frames(changes), positive(changes) {}

    std::array<bool, 256> channelsInUse{};
    EthernetFrameTable frames;
    FrameTable<EthernetSignal> positive;
    FrameKeySet negative;

    /// Finds the signals that an analysed frame carries, and remembers them, or that there are none, under
    /// `key`. A list that is full is emptied first. \return the entry of `positive`, or null
    FrameTable<EthernetSignal>::Frame* decide(const miiFrameInfo_t& frame, std::uint8_t channel,
                                              std::uint64_t key);
    /// Takes a signal out of every decision: those that name it, and those that clients can have changed.
    void forget(const EthernetSignal* signal);
    void clear();

  private:
    /// The keys of the decisions that name a signal; those of decisions that are no more may be among them.
    std::unordered_map<const EthernetSignal*, std::vector<std::uint64_t>> decisionsOf;
};

namespace ethernet {

/// Those of EthernetSignal.
extern EthernetTables classWideTables;

/// The tables of a storage that stands alone, made if it has none yet.
EthernetTables& makeTables(StorageTables& own);

/// The tables that a storage uses, for the receive path: `EthernetSignal::tablesOf` without a call.
inline EthernetTables& tablesOf(const SignalStorage* storage) {
    StorageTables* const own = ownTablesOf(storage);
    if (own == nullptr) {
        return classWideTables;
    }
    return own->ethernet != nullptr ? static_cast<EthernetTables&>(*own->ethernet) : makeTables(*own);
}

} // namespace ethernet
