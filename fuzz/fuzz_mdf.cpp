// MF4 files of any content. What is read must be a frame that its bus can carry.

#include "trace/Trace.h"

#include <cstdint>
#include <cstdlib>
#include <span>

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
        require(frame.payload.size() <= 254 && frame.slot <= 2047 && frame.cycle <= 63);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    rksignal::Trace trace;
    Frames frames;
    try {
        trace.addMemory(std::span(data, size), "input", {.format = rksignal::TraceFormat::Mdf});
        trace.run(frames);
    } catch (const rksignal::Error&) { // no MF4 file, or one without bus frames
    }
    return 0;
}
