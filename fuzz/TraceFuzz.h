/// \file
/// What the fuzz targets of trace formats have in common.
#pragma once

#include "trace/Trace.h"

#include <cstdint>
#include <cstdlib>
#include <span>

/// Takes what every trace promises for granted: frames no longer than they can be.
class FuzzedSink : public rksignal::MessageSink {
  public:
    using MessageSink::receive;

    void receive(const CANExtTraceMessage& frame) override {
        check(frame.length <= (frame.isFd() ? frame.payload.size() : 8) &&
              frame.canId <= (frame.isExtended() ? 0x1FFFFFFFU : 0x7FFU));
    }
    void receive(const LINTraceMessage& frame) override { check(frame.data.size() <= 8); }
    void receive(const FlexRayExtTraceMessage& frame) override {
        check(frame.payload.size() <= 254 && frame.slot <= 2047 && frame.cycle <= 63);
    }

  private:
    static void check(bool holds) {
        if (!holds) {
            std::abort(); // nobody downstream expects that
        }
    }
};

/// Reads bytes of any content as a trace of a format.
inline int fuzzTrace(rksignal::TraceFormat format, const std::uint8_t* data, std::size_t size) {
    FuzzedSink sink;
    rksignal::Trace trace;
    try {
        trace.addMemory(std::span(data, size), "t", {.format = format});
        trace.run(sink);
    } catch (const rksignal::Error&) { // not a file of the format at all
    }
    return 0;
}
