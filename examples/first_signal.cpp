#include "bus/CANSignal.h"
#include <iostream>

int main() {
    canSignalDef_t definition;
    definition.instance = "Engine.Speed";
    definition.unit = "rpm";
    definition.msgId = 0x0C9;
    definition.startbit = 7; // big endian: the most significant bit
    definition.bits = 16;
    definition.endian = true;
    definition.scale = 0.25;
    CANSignal speed(definition);

    const CANExtTraceMessage frame{.length = 2, .canId = 0x0C9, .payload = {0x1F, 0x40}};
    std::vector<unsigned long> changed;
    CANSignal::decodeMessage(frame, changed);

    double value = 0;
    unsigned long timestamp = 0;
    if (speed.read(value, timestamp)) {
        std::cout << "Engine.Speed = " << value << ' ' << speed.getUnit() << '\n';
    }
}
