// Ethernet definitions and frames of any content, as a client without checks of its own would pass them on.
// One target serves the analysis of headers and the decoder: frames come as they are, or behind headers that
// are in order, so that the containers are reached.

#include "FuzzInput.h"
#include "bus/EthernetSignal.h"
#include "support/EthernetFrame.h"

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

namespace {

ethernetSignalDef_t definitionFrom(FuzzInput& input, std::size_t number) {
    ethernetSignalDef_t definition;
    definition.instance = "s" + std::to_string(number);
    const auto flags = input.take<std::uint8_t>();
    definition.endian = flags & 1;
    definition.type = static_cast<signalValue_t>(flags >> 1 & 3);
    definition.bits = input.take<std::uint8_t>();
    for (std::size_t count = flags >> 6; count > 0; --count) {
        ethernetPosition_t position;
        const auto kind = input.take<std::uint8_t>();
        position.ethSignalType = static_cast<ethSignalPosType_t>(kind % 5);
        position.startBit = input.take<std::uint16_t>();
        position.ipProtocol = kind & 0x40 ? 17 : 0;
        position.vlan = kind & 0x80;
        position.pduId = position.messageId = position.methodEventId = kind >> 3 & 3; // few: some are found
        definition.positions.push_back(position);
    }
    return definition;
}

Octets frameFrom(FuzzInput& input) {
    const auto length = input.take<std::uint16_t>();
    Octets bytes;
    while (bytes.size() < length % 512 && !input.empty()) {
        bytes.push_back(input.take<std::uint8_t>());
    }
    if (length & 0x8000) {
        return bytes;
    }
    FrameText text;
    text.protocol = length & 0x4000 ? 6 : 17;
    return text.with(bytes, length >> 9 & 3);
}

void decode(Octets frame, SignalStorage& storage) {
    frame.shrink_to_fit(); // so that the sanitizer sees every byte read past it
    miiFrameInfo_t info{};
    if (MIITraceMessage::analyzeFrame(frame.data(), frame.size(), info) &&
        info.payloadOffset > frame.size()) {
        std::abort();
    }
    std::vector<unsigned long> first;
    std::vector<unsigned long> again;
    EthernetSignal::decode(0, frame, 1, first, &storage);
    EthernetSignal::decode(0, frame, 2, again, &storage);
    if (first != again) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.setstate(std::ios::failbit); // the lines about unknown containers are not of interest
    FuzzInput input(data, size);
    SignalStorage storage;
    std::vector<std::unique_ptr<EthernetSignal>> signals;
    for (std::size_t count = input.take<std::uint8_t>() % 8; count > 0; --count) {
        signals.push_back(std::make_unique<EthernetSignal>(definitionFrom(input, count), false, &storage));
    }
    while (!input.empty()) {
        decode(frameFrom(input), storage);
    }
    return 0;
}
