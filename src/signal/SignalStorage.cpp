#include "signal/SignalStorage.h"

#include "signal/StorageTables.h"

SignalStorage::SignalStorage(SignalTables tables)
    : ownTables(tables == SignalTables::Own ? std::make_shared<StorageTables>() : nullptr) {}
