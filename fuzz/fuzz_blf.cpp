// BLF files of any content, and files of a sound form with objects of any content, whole or across
// containers. What is read must be a frame that its bus can carry.

#include "FuzzInput.h"
#include "trace/Trace.h"
#include "trace/blf/BlfFormat.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace {

namespace blf = rksignal::blf;

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

template <class Number>
void append(std::string& bytes, Number number) {
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

void appendHead(std::string& bytes, std::uint32_t type, std::size_t headLength, std::size_t bodyLength) {
    bytes += blf::objectMark;
    append(bytes, static_cast<std::uint16_t>(headLength));
    append(bytes, std::uint16_t{1});
    append(bytes, static_cast<std::uint32_t>(headLength + bodyLength));
    append(bytes, type);
}

/// Objects whose bodies come from the input.
std::string objects(FuzzInput& input) {
    std::string bytes;
    while (!input.empty()) {
        const auto type = input.take<std::uint8_t>();
        const auto body = input.takeBytes(input.take<std::uint8_t>());
        appendHead(bytes, type, blf::objectHeadLength, body.size());
        append(bytes, std::uint64_t{blf::nanoseconds});
        append(bytes, std::uint64_t{1});
        bytes.append(body.begin(), body.end());
    }
    return bytes;
}

/// The same in plain containers of `step` bytes.
std::string contained(const std::string& content, std::size_t step) {
    std::string bytes;
    for (std::size_t at = 0; at < content.size(); at += step) {
        const std::string piece = content.substr(at, step);
        appendHead(bytes, blf::Container, blf::baseHeadLength, blf::containerHeadLength + piece.size());
        append(bytes, std::uint64_t{blf::methodPlain});
        append(bytes, std::uint64_t{piece.size()});
        bytes += piece;
    }
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const auto form = input.take<std::uint8_t>();
    std::string bytes(blf::fileMark);
    append(bytes, std::uint32_t{blf::fileHeadLength});
    bytes.resize(blf::fileHeadLength);
    if (form == 0) { // containers and their compression
        const auto rest = input.takeBytes(size);
        bytes.append(rest.begin(), rest.end());
    } else {
        bytes += form == 1 ? objects(input) : contained(objects(input), form);
    }
    rksignal::Trace trace;
    Frames frames;
    trace.addMemory(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()), "input",
                    {.format = rksignal::TraceFormat::Blf});
    trace.run(frames);
    return 0;
}
