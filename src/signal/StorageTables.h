/// \file
/// What a storage that stands alone has of its own, in place of the statics of the signal classes.
#pragma once

#include "signal/BaseSignal.h"
#include "signal/ChangeCounter.h"
#include "signal/FrameTable.h"

#include <cstdint>
#include <memory>
#include <set>

class LoggerStatusSignal;

/// Tables whose form only one bus knows.
class BusTables {
  public:
    BusTables() = default;
    BusTables(const BusTables&) = delete;
    BusTables& operator=(const BusTables&) = delete;
    virtual ~BusTables() = default;
};

/// Each member stands for the static named beside it.
struct StorageTables {
    ChangeCounter changes;                       ///< ChangeCounter::classWide()
    FrameTable<CANSignal> can{changes};          ///< CANSignal::canContainer
    FrameTable<LINSignal> lin{changes};          ///< LINSignal::linContainer
    FrameTable<FlexRaySignal> flexRay{changes};  ///< FlexRaySignal::flexrayFrames
    FrameTable<InputSignal> inputs{changes};     ///< InputSignal::inputContainer
    std::unique_ptr<BusTables> ethernet;         ///< EthernetSignal's four; null until they are asked for
    std::set<LoggerStatusSignal*> loggerSignals; ///< LoggerStatusSignal::allInstancesLoggerStatusSignals
    std::uint8_t gpsStatus = 0;                  ///< GPSSignal::gpsStatus
};

/// The tables of the storage that a storage argument means, or null if it uses the class-wide ones.
inline StorageTables* ownTablesOf(const SignalStorage* storage) {
    return storage != nullptr ? storage->ownTables.get() : nullptr; // the default storage has none
}

/// The storage's `own` one, or `classWide`.
template <class Table>
Table& tableOf(const SignalStorage* storage, Table StorageTables::*own, Table& classWide) {
    StorageTables* const tables = ownTablesOf(storage);
    return tables != nullptr ? tables->*own : classWide;
}
