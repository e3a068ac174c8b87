#include "Recording.h"

#include <limits>

namespace drive {

void Recording::observe(std::span<const Frame> frames, const VehicleState& car, std::uint64_t now) {
    recorder.writeBefore(now);
    for (const Frame& frame : frames) {
        recorder.add(frame);
    }
    linBus.observe(car, now, recorder);
    flexRayBus.observe(car, now, recorder);
    for (const MIITraceMessage& frame : ethernetNetwork.observe(car, now)) {
        recorder.add(frame);
        capture.write(frame);
    }
    digitalInputs.observe(car, now, recorder);
    analogInputs.observe(car, now, recorder);
    remoteControl.observe(now, recorder);
    loggerStatus.observe(now, recorder);
    if (const auto said = gpsReceiver.observe(car, now)) {
        recorder.add(*said);
        sentences << said->sentences;
    }
}

std::uint64_t Recording::finish() {
    recorder.writeBefore(std::numeric_limits<std::uint64_t>::max() / 1000);
    return recorder.written();
}

} // namespace drive
