// Finds the signals whose last value is too old, and marks them as having none.

#include "bus/CANSignal.h"

#include <iostream>

int main() {
    constexpr unsigned long second = 1000000000; // time stamps are nanoseconds

    canSignalDef_t definition;
    definition.bits = 8;
    definition.instance = "Door.DriverOpen";
    definition.msgId = 0x3B3;
    CANSignal door(definition);
    definition.instance = "Light.LowBeam";
    definition.msgId = 0x3B4;
    CANSignal light(definition);

    std::vector<unsigned long> ids;
    CANSignal::decodeMessage({.timestamp = 100 * second, .length = 1, .canId = 0x3B3, .payload = {1}}, ids);
    CANSignal::decodeMessage({.timestamp = 104 * second, .length = 1, .canId = 0x3B4, .payload = {1}}, ids);

    // At 105 s nothing may be older than 2 s.
    BaseSignal::checkTimeout(105 * second - 2 * second, ids);
    for (const unsigned long id : ids) {
        std::cout << BaseSignal::getInstance(id)->def.instance << " has timed out\n";
    }
    BaseSignal::clear(ids);

    unsigned long raw = 0;
    unsigned long timestamp = 0;
    std::cout << "Door.DriverOpen is " << (door.read(raw, timestamp) ? "valid" : "not valid") << '\n'
              << "Light.LowBeam is " << (light.read(raw, timestamp) ? "valid" : "not valid") << '\n';
}
