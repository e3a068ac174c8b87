/// \file
/// What is wired to the logger itself: digital and analog inputs, and the remote control's keys.
#pragma once

#include "Noise.h"
#include "Recorder.h"
#include "Timer.h"
#include "VehicleModel.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace drive {

/// Reports an input when its level has changed.
class DigitalInputs {
  public:
    void observe(const VehicleState& car, std::uint64_t now, Recorder& recorder);

  private:
    std::array<std::optional<bool>, 3> levels; // as last reported
};

/// Measures ten times a second.
class AnalogInputs {
  public:
    explicit AnalogInputs(std::uint64_t seed) : noise(seed) {}

    void observe(const VehicleState& car, std::uint64_t now, Recorder& recorder);

  private:
    Timer measurement{100};
    Noise noise;
};

/// Somebody beside the driver presses keys, the same ones in every round of the drive.
class RemoteControl {
  public:
    /// `start`, in microseconds since 1970-01-01 UTC: of the drive, here and below.
    explicit RemoteControl(std::uint64_t start) : roundStart(start) {}

    void observe(std::uint64_t now, Recorder& recorder);

  private:
    std::uint64_t roundStart;
    std::size_t next = 0; // event of the round
};

} // namespace drive
