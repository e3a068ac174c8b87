/// \file
/// Everything that a logger in the demo's car records, in one file.
#pragma once

#include "EthernetCapture.h"
#include "EthernetNetwork.h"
#include "FlexRayBus.h"
#include "GpsReceiver.h"
#include "Inputs.h"
#include "LinBus.h"
#include "LoggerStatus.h"
#include "Recorder.h"
#include "VehicleModel.h"

#include <cstdint>
#include <ostream>
#include <span>

namespace drive {

/// Joins the frames of the CAN buses with all other sources: every source sees the car tick by tick and hands
/// its messages to the recorder. A new source is a member and a line more.
class Recording {
  public:
    /// `records` receives a record file, `sentences` the GPS receiver's text alone, `capture` a capture of
    /// the Ethernet frames alone.
    Recording(std::ostream& records, std::ostream& sentences, std::ostream& capture, std::uint64_t seed,
              std::uint64_t start)
        : recorder(records), sentences(sentences), capture(capture), analogInputs(seed), remoteControl(start),
          loggerStatus(start), gpsReceiver(seed + 1) {}

    /// Records a tick: `now` is its beginning, `frames` its CAN frames, `car` the car at its end.
    void observe(std::span<const Frame> frames, const VehicleState& car, std::uint64_t now);
    /// Writes what has been observed but not yet written. \return the number of records
    std::uint64_t finish();

  private:
    Recorder recorder;
    std::ostream& sentences;
    EthernetCapture capture;
    LinBus linBus;
    FlexRayBus flexRayBus;
    EthernetNetwork ethernetNetwork;
    DigitalInputs digitalInputs;
    AnalogInputs analogInputs;
    RemoteControl remoteControl;
    LoggerStatus loggerStatus;
    GpsReceiver gpsReceiver;
};

} // namespace drive
