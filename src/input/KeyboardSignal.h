/// \file
/// Signals of the keys of the logger's remote control.
#pragma once

#include "input/InputSignal.h"

#include <cstdint>
#include <map>
#include <string>

/// A signal that follows a key: 0 released, 1 pressed, 2 pressed long.
class RKSIGNAL_EXPORT KeyboardSignal : public InputSignal {
  public:
    /// The instance names that a signal may have, with their input keys: `RC.F1` to `RC.F10`, and `RC.TRG`.
    static std::map<std::string, std::uint64_t> predefinedInputs;

    /// Builds the signal and files it under the key of its name. Another name is reported and gives a signal
    /// with identifier 0, an identifier already in use one with all ones; neither receives a value.
    explicit KeyboardSignal(const inputSignalDef_t& def, bool shmem = false,
                            SignalStorage* storage = nullptr);
};
