// Frames of any content as parts of multi-packet messages of SAE J1939.

#include "FuzzInput.h"
#include "value/J1939Transport.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::uint32_t managementGroup = 0x1CEC0000;
    constexpr std::uint32_t packetGroup = 0x1CEB0000;
    rksignal::J1939Transport transport([](std::uint8_t, std::uint32_t id) { return (id & 0x100) == 0; });
    FuzzInput input(data, size);
    std::uint64_t sum = 0;
    CANExtTraceMessage frame;
    frame.frameFormat = CANExtTraceMessage::Extended;
    while (!input.empty()) {
        const auto control = input.take<std::uint8_t>();
        frame.channel = control >> 7;
        frame.length = control & 0xF;
        frame.timestamp += input.take<std::uint8_t>() * std::uint64_t{10'000'000};
        frame.canId = (control & 0x10) != 0 ? managementGroup : packetGroup;
        frame.canId |= input.take<std::uint16_t>();
        for (std::size_t i = 0; i < 8; ++i) {
            frame.payload[i] = input.take<std::uint8_t>();
        }
        const auto outcome = transport.receive(frame);
        if (!outcome.data.empty() && (outcome.data.size() < 9 || outcome.data.size() > 1785)) {
            std::abort();
        }
        for (const std::uint8_t byte : outcome.data) { // all of them can be read
            sum += byte;
        }
        if (transport.statistics().open > rksignal::J1939Transport::maxSessions) {
            std::abort();
        }
    }
    return sum == ~std::uint64_t{0} ? 1 : 0;
}
