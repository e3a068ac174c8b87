/// \file
/// The registry in which signals are found by name, by identifier and by kind.
#pragma once

#include "signal/Export.h"
#include "signal/SignalTable.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

class BaseSignal;
class CANSignal;
class FlexRaySignal;
class EthernetSignal;
class InputSignal;
class LINSignal;
struct StorageTables;

/// The tables by which frames find the signals of a storage.
enum class SignalTables : std::uint8_t {
    ClassWide, ///< the statics of the signal classes, which all such storages share
    Own,       ///< tables of the storage itself: it *stands alone*
};

/// The signals of one client. Signals enter it when they are built and leave it when they are destroyed; it
/// does not own them and must outlive them. The tables by kind are keyed by signal identifier. Clients may
/// look into all tables and change them; those by identifier and by kind become maps at the first look.
///
/// Threads: a storage is not locked; its signals are built, destroyed, looked up and decoded by one thread at
/// a time, also through a constant storage. Storages with class-wide tables count as one here. A storage that
/// stands alone shares nothing with any other: each may have a thread of its own, which decodes, builds and
/// destroys private signals without a lock and without slowing the others, and the same definitions may stand
/// in several.
class RKSIGNAL_EXPORT SignalStorage {
  public:
    /// A storage with class-wide tables.
    SignalStorage() = default;
    explicit SignalStorage(SignalTables tables);

    std::map<std::string, BaseSignal*> instancesByName;
    SignalTable<BaseSignal*> instancesById;
    SignalTable<std::vector<CANSignal*>> canSignals;
    SignalTable<std::vector<FlexRaySignal*>> flexRaySignals;
    SignalTable<std::vector<EthernetSignal*>> ethernetSignals;
    SignalTable<std::vector<InputSignal*>> inputSignals;
    SignalTable<std::vector<LINSignal*>> linSignals;
    /// The identifiers of signals that were refused because these were taken; the tables by kind have them
    /// all the same.
    std::map<const BaseSignal*, std::uint64_t> refusedIds;

    /// The tables of a storage that stands alone (signal/StorageTables.h), else null. A copy of the storage
    /// has the same ones. Clients reach the tables in use, whichever these are, through the classes, for
    /// reading and for placing signals by hand: `CANSignal::containerOf(&storage)`,
    /// `EthernetSignal::tablesOf(&storage)` and so on.
    std::shared_ptr<StorageTables> ownTables;
};
