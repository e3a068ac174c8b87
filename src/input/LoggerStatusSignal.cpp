#include "input/LoggerStatusSignal.h"

#include "input/InputKey.h"

using input::loggerBit;

std::map<std::string, std::uint64_t> LoggerStatusSignal::predefinedInputs = {
    {"Logger.Status", loggerBit},        {"Logger.Start", loggerBit + 1}, {"Logger.IntMemory", loggerBit + 2},
    {"Logger.ExtMemory", loggerBit + 2}, {"Logger.Timer", loggerBit + 3},
};

/// The values are those of the status keywords in trigger expressions.
std::map<std::uint64_t, std::string> LoggerStatusSignal::statusDescriptions = {
    {0, "OK"}, {1, "ERROR"}, {2, "NoSync"}, {3, "Warning"}, {4, "FWUpdate"}, {5, "Memory"}, {6, "Ring"},
};

std::map<std::uint64_t, std::string> LoggerStatusSignal::memoryDescriptions = {{255, "N/C"}};

std::set<LoggerStatusSignal*> LoggerStatusSignal::allInstancesLoggerStatusSignals;

LoggerStatusSignal::LoggerStatusSignal(const inputSignalDef_t& definition, bool shmem, SignalStorage* storage)
    : InputSignal(definition, shmem, storage) {
    if (filePredefined(predefinedInputs, loggerBit, "LoggerStatusSignal")) {
        completeDefinition();
        allInstancesLoggerStatusSignals.insert(this);
    }
}

LoggerStatusSignal::~LoggerStatusSignal() {
    allInstancesLoggerStatusSignals.erase(this);
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

void LoggerStatusSignal::updateTimestamp(unsigned long timestamp) {
    for (LoggerStatusSignal* const signal : allInstancesLoggerStatusSignals) {
        signal->writeTS(timestamp);
    }
}
