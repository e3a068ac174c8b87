/// \file
/// The record file of the demo's drive, decoded by the library with the definitions in logger.json.
#pragma once

#include "signal/BaseSignal.h"

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

using Series = std::map<double, double>; ///< values by time in s since the start of the drive

/// One round of the drive cycle and the beginning of the next.
class RecordedDrive {
  public:
    RecordedDrive();

    std::map<std::string, Series> series; ///< by instance
    /// A line for each value of a signal with texts that is another than before: `21.40 RC.F1 Pressed`.
    std::vector<std::string> events;
    std::uint64_t canRecords = 0;
    std::uint64_t backwardSteps = 0; ///< records from before the one in front of them
    std::uint64_t unusable = 0;      ///< records that cannot be decoded, and damaged bytes

  private:
    void buildSignals();
    void decode(std::span<const std::uint8_t> record);
    template <class Message, class Decoder>
    void take(std::span<const std::uint8_t> record, Decoder decoder);
    void note(BaseSignal& signal);

    std::vector<std::unique_ptr<BaseSignal>> signals;
    std::map<std::string, std::string> texts; // last one by instance
};
