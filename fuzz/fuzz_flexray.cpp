// FlexRay definitions, frames and records of any content, as a client without checks of its own would pass
// them on.

#include "FuzzInput.h"
#include "bus/FlexRaySignal.h"
#include "rktrace/TraceRecord.h"

#include <cstdlib>
#include <list>
#include <string>

namespace {

/// Few slots, cycles and PDUs, so that some frames have signals.
flexRayPosition_t positionFrom(FuzzInput& input) {
    flexRayPosition_t position;
    const auto flags = input.take<std::uint8_t>();
    position.type = flags & 1;
    position.slot = flags >> 1 & 1;
    position.baseCycle = flags & 4 ? input.take<std::uint8_t>() : 0;
    position.repetition = flags & 8 ? input.take<std::uint8_t>() : 1;
    position.startBit = input.take<std::uint16_t>();
    if (flags & 16) {
        position.updateBit = input.take<std::uint16_t>();
    }
    if (flags & 32) {
        position.pduId = flags >> 6;
    }
    return position;
}

flexRaySignalDef_t definitionFrom(FuzzInput& input) {
    flexRaySignalDef_t definition;
    const auto flags = input.take<std::uint8_t>();
    definition.endian = flags & 1;
    definition.type = static_cast<signalValue_t>(flags >> 1 & 3);
    definition.bits = input.take<std::uint8_t>();
    for (unsigned count = flags >> 3 & 3; count > 0; --count) {
        definition.positions.push_back(positionFrom(input));
    }
    return definition;
}

FlexRayExtTraceMessage frameFrom(FuzzInput& input) {
    FlexRayExtTraceMessage frame;
    const auto flags = input.take<std::uint8_t>();
    frame.frameKind = static_cast<std::uint8_t>(16 + (flags & 3));
    frame.slot = flags >> 2 & 1;
    frame.cycle = flags & 8 ? input.take<std::uint8_t>() : 0;
    frame.payload = input.takeBytes(input.take<std::uint8_t>());
    frame.data.resize(flags & 16 ? input.take<std::uint16_t>() : frame.payload.size());
    return frame;
}

bool isInUse(const FlexRayExtTraceMessage& frame) {
    std::vector<std::uint8_t> record;
    encodeRecord(frame, record);
    return FlexRaySignal::signalsInUse(record.data(), record.data() + record.size(), 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    std::list<FlexRaySignal> signals;
    for (unsigned count = input.take<std::uint8_t>() % 8; count > 0; --count) {
        flexRaySignalDef_t definition = definitionFrom(input);
        definition.instance = "s" + std::to_string(count);
        signals.emplace_back(definition);
    }
    FlexRaySignal::signalsInUse(data, data + size, 0);
    std::vector<unsigned long> ids;
    while (!input.empty()) {
        const FlexRayExtTraceMessage frame = frameFrom(input);
        if (FlexRaySignal::decodeMessage(frame, ids) && !isInUse(frame)) {
            std::abort();
        }
    }
    return 0;
}
