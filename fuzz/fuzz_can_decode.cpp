// CAN definitions and frames of any content, as a client without checks of its own would pass them on.

#include "FuzzInput.h"
#include "bus/CANKey.h"
#include "bus/CANSignal.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

canSignalDef_t definitionFrom(FuzzInput& input, std::size_t number) {
    canSignalDef_t definition;
    definition.instance = "s" + std::to_string(number);
    const auto flags = input.take<std::uint8_t>();
    definition.endian = flags & 1;
    definition.canFD = flags & 2;
    definition.multiplexer = flags & 4;
    if (flags & 8) {
        definition.pduId = flags >> 4; // few, so that some are found
    }
    definition.type = static_cast<signalValue_t>(flags >> 6);
    definition.startbit = input.take<std::uint16_t>();
    definition.bits = input.take<std::uint8_t>();
    return definition;
}

CANExtTraceMessage frameFrom(FuzzInput& input) {
    CANExtTraceMessage frame;
    frame.frameFormat = input.take<std::uint8_t>() & 2;
    frame.length = input.take<std::uint8_t>();
    frame.payload = input.take<std::array<std::uint8_t, 64>>();
    return frame;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    SignalStorage storage;
    std::vector<std::unique_ptr<CANSignal>> signals;
    for (std::size_t count = input.take<std::uint8_t>() % 8; count > 0; --count) {
        signals.push_back(std::make_unique<CANSignal>(definitionFrom(input, count), false, &storage));
    }
    if (signals.size() > 1) { // as a client that uses the second look-up would place it
        const auto frame = can::frameKey(0, 0, 0, false, signals.back()->definition.canFD);
        const auto raw = input.take<std::uint8_t>();
        CANSignal::canContainer[frame + can::multiplexerTerm(raw)].push_back(signals.back().get());
    }
    std::vector<unsigned long> ids;
    while (!input.empty()) {
        CANSignal::decodeMessage(frameFrom(input), ids, 0, &storage);
    }
    return 0;
}
