/// \file
/// Signal tables and received frames that the CAN benchmarks decode.
#pragma once

#include "QuietOutput.h"
#include "Recordings.h"
#include "bus/CANSignal.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Definitions and random frames over their identifiers, the same in every run.
struct CanWorkload {
    std::string name;
    std::vector<canSignalDef_t> definitions;
    std::vector<CANExtTraceMessage> frames;

    double signalsPerFrame() const;
};

/// A table of `signals` signals, 8 a frame of 8 bytes, half of them big-endian, a third signed.
CanWorkload generatedWorkload(std::size_t signals);

/// The signals of a recorded DBC file; nothing when it is not there. Every signal of a message counts as
/// present in every frame, multiplexed or not.
std::optional<CanWorkload> dbcWorkload(const Recording& recording);

/// The signals of a workload in a storage of their own. Key files of shared ones are removed with them.
class BenchSignals {
  public:
    BenchSignals(const CanWorkload& workload, bool shared);
    ~BenchSignals();
    BenchSignals(const BenchSignals&) = delete;
    BenchSignals& operator=(const BenchSignals&) = delete;

    SignalStorage storage;
    std::vector<std::unique_ptr<CANSignal>> signals; ///< in the order of the definitions

  private:
    QuietOutput quiet;
    bool shared;
};
