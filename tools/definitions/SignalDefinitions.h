/// \file
/// Definition records of every kind, as a file brings them.
#pragma once

#include "bus/CANSignal.h"
#include "bus/LINSignal.h"
#include "input/InputSignal.h"

#include <string>
#include <vector>

namespace rksignal {

/// In the order of the file within each kind.
struct SignalDefinitions {
    std::string file;
    std::vector<canSignalDef_t> can;
    std::vector<linSignalDef_t> lin;
    std::vector<inputSignalDef_t> digital;
    std::vector<inputSignalDef_t> analog;
    std::vector<inputSignalDef_t> keyboard;
    std::vector<inputSignalDef_t> status;
    std::vector<inputSignalDef_t> gps;
};

} // namespace rksignal
