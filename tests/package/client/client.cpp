/// \file
/// A client that uses all three libraries: decodes one frame, prints it, and exits 0 when the value is right.
#include "bus/CANSignal.h"
#include "rktrace/CANExtTraceMessage.h"
#include "rkutil/LogUtil.h"
#include "rkutil/printTime.h"

#include <iostream>
#include <mutex>
#include <vector>

int main() {
    canSignalDef_t definition;
    definition.bits = 16;
    definition.scale = 0.5;
    definition.msgId = 0x123;
    CANSignal speed(definition);
    const CANExtTraceMessage frame{
        .timestamp = 1'000'000'000, .length = 2, .canId = 0x123, .payload = {0x10, 0x01}};
    std::vector<unsigned long> ids;
    double value = 0;
    unsigned long timestamp = 0;
    const bool decoded = CANSignal::decodeMessage(frame, ids) && speed.read(value, timestamp);

    const std::lock_guard lock(LogUtil::logMutex);
    std::cout << frame << '\n';
    printTime(std::cout, timestamp);
    return decoded && value == 136.0 && timestamp == frame.timestamp ? 0 : 1;
}
