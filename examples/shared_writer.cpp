// Keeps a signal in shared memory and writes it ten times a second. Watch it with shared_reader.

#include "bus/CANSignal.h"

#include <chrono>
#include <cstdlib>
#include <thread>

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 10;

    canSignalDef_t definition;
    definition.instance = "Vehicle.Speed"; // names the segment: key file /tmp/Vehicle.Speed
    definition.signal = "Speed";
    definition.unit = "km/h";
    definition.msgId = 0x0F1;
    definition.bits = 16;
    definition.scale = 0.01;
    CANSignal speed(definition, /*shm=*/true);

    std::vector<unsigned long> changed;
    for (int i = 0; i < 10 * seconds; ++i) {
        const int raw = 5000 + i; // 50.00 km/h and rising
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        CANExtTraceMessage frame{.length = 2, .canId = definition.msgId};
        frame.timestamp = static_cast<std::uint64_t>(std::chrono::nanoseconds(now).count());
        frame.payload[0] = static_cast<std::uint8_t>(raw);
        frame.payload[1] = static_cast<std::uint8_t>(raw >> 8);
        CANSignal::decodeMessage(frame, changed);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    // The writer owns the segment: destroying the signal removes it.
}
