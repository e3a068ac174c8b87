#include "input/LoggerStatusSignal.h"

#include "input/InputKey.h"

std::map<std::string, std::uint64_t> LoggerStatusSignal::predefinedInputs = {
    {"Logger.Status", input::statusKey},    {"Logger.Start", input::startKey},
    {"Logger.IntMemory", input::memoryKey}, {"Logger.ExtMemory", input::memoryKey},
    {"Logger.Timer", input::timerKey},
};

/// The values are those of the status keywords in trigger expressions.
std::map<std::uint64_t, std::string> LoggerStatusSignal::statusDescriptions = {
    {0, "OK"}, {1, "ERROR"}, {2, "NoSync"}, {3, "Warning"}, {4, "FWUpdate"}, {5, "Memory"}, {6, "Ring"},
};

std::map<std::uint64_t, std::string> LoggerStatusSignal::memoryDescriptions = {{255, "N/C"}};

std::set<LoggerStatusSignal*> LoggerStatusSignal::allInstancesLoggerStatusSignals;

LoggerStatusSignal::LoggerStatusSignal(const inputSignalDef_t& definition, bool shmem, SignalStorage* storage)
    : InputSignal(definition, DefUse::Copy, shmem, storage) {
    if (filePredefined(predefinedInputs, input::loggerBit, "LoggerStatusSignal")) {
        completeDefinition();
        instancesOf(this->storage).insert(this);
    }
}

LoggerStatusSignal::~LoggerStatusSignal() {
    instancesOf(storage).erase(this);
}

void LoggerStatusSignal::completeDefinition() {
    const bool isMemory = def.instance == "Logger.IntMemory" || def.instance == "Logger.ExtMemory";
    if (def.valueDescriptions.empty()) {
        if (def.instance == "Logger.Status") {
            def.valueDescriptions = statusDescriptions;
        } else if (isMemory) {
            def.valueDescriptions = memoryDescriptions;
        }
    }
    if (def.instance == "Logger.Timer") {
        def.unit = "s";
    } else if (isMemory && def.unit.empty()) {
        def.unit = "%";
    }
}

void LoggerStatusSignal::updateTimestamp(unsigned long timestamp, SignalStorage* storage) {
    const auto& signals = storage != nullptr ? instancesOf(storage) : allInstancesLoggerStatusSignals;
    for (LoggerStatusSignal* const signal : signals) {
        signal->writeTS(timestamp);
    }
}
