/// \file
/// Definition records of every kind, as a file brings them.
#pragma once

#include "bus/CANSignal.h"
#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
#include "input/InputSignal.h"

#include <string>
#include <vector>

namespace rksignal {

/// A definition record, and where it stands: `FILE#/can/3`, the place being a JSON pointer (RFC 6901).
template <class Record>
struct PlacedDefinition {
    Record record;
    std::string place;
    bool anyChannel = false; ///< CAN only: the file names no channel, so the signal is decoded from all
};

/// In the order of the file within each kind. The records are usable: instance names are unique in the file,
/// predefined names are such, fields are in their ranges.
struct SignalDefinitions {
    std::vector<PlacedDefinition<canSignalDef_t>> can;
    std::vector<PlacedDefinition<linSignalDef_t>> lin;
    std::vector<PlacedDefinition<flexRaySignalDef_t>> flexray;
    std::vector<PlacedDefinition<ethernetSignalDef_t>> ethernet;
    std::vector<PlacedDefinition<inputSignalDef_t>> digital;
    std::vector<PlacedDefinition<inputSignalDef_t>> analog;
    std::vector<PlacedDefinition<inputSignalDef_t>> keyboard;
    std::vector<PlacedDefinition<inputSignalDef_t>> status;
    std::vector<PlacedDefinition<inputSignalDef_t>> gps;
};

} // namespace rksignal
