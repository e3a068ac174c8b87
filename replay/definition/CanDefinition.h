/// \file
/// Turns what a DBC file says about a signal into a definition record of the library.
#pragma once

#include "bus/CANSignal.h"
#include "definition/dbc/DbcFile.h"

namespace rksignal {

/// Everything but the instance name, the channel and the trace source.
canSignalDef_t canDefinition(const DbcMessage& message, const DbcSignal& signal);

/// Why the library cannot decode the signal, or null: it touches 9 bytes, or it lies beyond the first 8
/// bytes of a classic frame.
const char* whyNotDecodable(canSignalDef_t definition);

/// Whether two definitions give the same values under the same names.
bool sameMeaning(const DbcMessage& left, const DbcMessage& right);

} // namespace rksignal
