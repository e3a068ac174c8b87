// Capture files of any content, and files of a sound form with packets of any content. What is read must be a
// frame that its bus can carry.

#include "FuzzInput.h"
#include "trace/Trace.h"

#include <cstdlib>
#include <string>

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

class Frames : public rksignal::MessageSink {
    using MessageSink::receive;
    void receive(const CANExtTraceMessage& frame) override {
        require(frame.length <= (frame.isFd() ? 64 : 8));
        require(frame.canId <= (frame.isExtended() ? 0x1FFFFFFFU : 0x7FFU));
    }
    void receive(const LINTraceMessage& frame) override { require(frame.data.size() <= 8); }
    void receive(const FlexRayExtTraceMessage& frame) override {
        require(frame.payload.size() <= 254 && frame.payload.size() % 2 == 0 && frame.slot <= 2047 &&
                frame.cycle <= 63);
    }
    void receive(const GPSTraceMessage& /*message*/) override { std::abort(); }
    bool receiveRecord(std::span<const std::uint8_t> /*record*/, std::uint64_t /*timestamp*/) override {
        std::abort();
    }
};

void append(std::string& bytes, std::uint32_t word) {
    bytes.append(reinterpret_cast<const char*>(&word), sizeof word);
}

/// A capture with packets from the input, of one of the link types that are understood.
std::string soundCapture(FuzzInput& input) {
    constexpr std::uint32_t linkTypes[] = {1, 113, 210, 212, 227, 276};
    std::string bytes;
    for (const std::uint32_t word : {0xA1B2C3D4U, 0x00040002U, 0U, 0U, 65535U}) {
        append(bytes, word);
    }
    append(bytes, linkTypes[input.take<std::uint8_t>() % std::size(linkTypes)]);
    while (!input.empty()) {
        const auto packet = input.takeBytes(input.take<std::uint8_t>());
        const auto length = static_cast<std::uint32_t>(packet.size());
        for (const std::uint32_t word : {1U, 2U, length, length}) {
            append(bytes, word);
        }
        bytes.append(packet.begin(), packet.end());
    }
    return bytes;
}

void readAll(const std::string& bytes) {
    rksignal::Trace trace;
    Frames frames;
    try {
        trace.addMemory(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()), "input",
                        {.format = rksignal::TraceFormat::Capture});
        trace.run(frames);
    } catch (const rksignal::Error&) { // no capture, or one of another link type
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr const char* magics[] = {"\xD4\xC3\xB2\xA1", "\xA1\xB2\x3C\x4D", "\x0A\x0D\x0D\x0A"};
    FuzzInput input(data, size);
    const auto form = input.take<std::uint8_t>();
    std::string bytes;
    if (form < std::size(magics)) {
        const auto rest = input.takeBytes(size);
        bytes.assign(magics[form], 4).append(rest.begin(), rest.end());
    } else {
        bytes = soundCapture(input);
    }
    readAll(bytes);
    return 0;
}
