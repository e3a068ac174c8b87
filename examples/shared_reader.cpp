// Shows the value that shared_writer keeps in shared memory, twice a second, until it stops changing.

#include "bus/CANSignal.h"
#include "rkutil/printTime.h"

#include <chrono>
#include <iostream>
#include <thread>

int main() {
    BaseSignal::detachOnly = true; // the segment is the writer's: leave it in place when this process ends

    // Only the instance name finds the segment. What turns its raw value into a physical one is this side's
    // own.
    baseSignalDef_t definition;
    definition.instance = "Vehicle.Speed";
    definition.unit = "km/h";
    definition.bits = 16;
    definition.scale = 0.01;
    BaseSignal speed(definition, /*shmem=*/true);
    if (speed.initSmData) {
        std::cerr << "nobody has written Vehicle.Speed yet: start shared_writer first\n";
        BaseSignal::detachOnly = false; // the segment is new and unused: take it away again
        return 1;
    }

    double value = 0;
    unsigned long timestamp = 0;
    unsigned long shown = 1;
    while (speed.read(value, timestamp) && timestamp != shown) {
        printTime(std::cout, timestamp);
        std::cout << ' ' << value << ' ' << speed.getUnit() << std::endl;
        shown = timestamp;
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
}
