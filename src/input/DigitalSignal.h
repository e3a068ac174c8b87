/// \file
/// Signals of the logger's digital inputs.
#pragma once

#include "input/InputSignal.h"

/// A signal that follows the level of a digital input: number `channel` of the module on channel `tslId`.
class RKSIGNAL_EXPORT DigitalSignal : public InputSignal {
  public:
    /// Builds the signal and files it under its input. An identifier already in use is reported and gives a
    /// signal with identifier all ones that never receives a value.
    explicit DigitalSignal(const inputSignalDef_t& def, bool shmem = false, SignalStorage* storage = nullptr);
};
