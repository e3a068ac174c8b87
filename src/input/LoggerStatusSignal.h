/// \file
/// Signals of what the logger says about itself.
#pragma once

#include "input/InputSignal.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>

/// A signal that follows the logger's status, start, timer or the usage of one of its memories.
class RKSIGNAL_EXPORT LoggerStatusSignal : public InputSignal {
  public:
    /// The instance names that a signal may have, with their input keys. The two memories share one key:
    /// their message carries both values, which find their signals by name.
    static std::map<std::string, std::uint64_t> predefinedInputs;
    /// Texts of `Logger.Status`, unless the definition brings its own.
    static std::map<std::uint64_t, std::string> statusDescriptions;
    /// Texts of `Logger.IntMemory` and `Logger.ExtMemory`, unless the definition brings its own.
    static std::map<std::uint64_t, std::string> memoryDescriptions;
    /// Every logger status signal that exists, but for those of storages that stand alone.
    static std::set<LoggerStatusSignal*> allInstancesLoggerStatusSignals;
    /// The set that a storage uses: `allInstancesLoggerStatusSignals`, or its own.
    static std::set<LoggerStatusSignal*>& instancesOf(const SignalStorage* storage) {
        return tableOf(storage, &StorageTables::loggerSignals, allInstancesLoggerStatusSignals);
    }

    /// Builds the signal and files it under the key of its name. Another name is reported and gives a signal
    /// with identifier 0, an identifier already in use one with all ones; neither receives a value.
    /// `Logger.Timer` is in seconds whatever the definition says; memories are in percent unless it says
    /// something.
    explicit LoggerStatusSignal(const inputSignalDef_t& def, bool shmem = false,
                                SignalStorage* storage = nullptr);
    ~LoggerStatusSignal() override;

    /// Gives all logger status signals a time stamp; their values and validity stay. They are those of the
    /// set that `storage` uses; null means `allInstancesLoggerStatusSignals`.
    static void updateTimestamp(unsigned long timestamp, SignalStorage* storage = nullptr);

  private:
    RKSIGNAL_HIDDEN void completeDefinition();
};
