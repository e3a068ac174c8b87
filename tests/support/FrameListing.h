/// \file
/// The frames of traces as the replay library reads them, one line each, in the order of time:
///
///     TIME BUS CHANNEL ID FLAGS BYTES
///     1700000000123456789 can 1 123 - 0102
///     1700000000123456789 can 1 18FEF100 fd 010203
///     1700000000123456789 lin 1 3C - 0102
///     1700000000123456789 flexray 1 12.63 - 0102     slot and cycle
///     1700000000123456789 ethernet 1 - - 0102        from the destination address on
///     1700000000123456789 gps - - - -
///     1700000000123456789 - - - remote -             what carries no values has a kind alone
///
/// Times are nanoseconds since 1970-01-01 UTC.
#pragma once

#include "text/Error.h"
#include "trace/Trace.h"

#include <cstdio>
#include <ostream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <utility>

namespace rksignal {

class FrameListing : public MessageSink {
  public:
    using MessageSink::receive;

    explicit FrameListing(std::ostream& stream) : out(stream) {}

    void receive(const CANExtTraceMessage& frame) override {
        char id[9];
        std::snprintf(id, sizeof id, frame.isExtended() ? "%08X" : "%03X", frame.canId);
        print(frame.timestamp, "can", frame.channel, id, frame.isFd() ? "fd" : "-",
              std::span(frame.payload).first(frame.length));
    }
    void receive(const LINTraceMessage& frame) override {
        char id[3];
        std::snprintf(id, sizeof id, "%02X", frame.protectedId & 0x3FU);
        print(frame.timestamp, "lin", frame.channel, id, "-", frame.data);
    }
    void receive(const FlexRayExtTraceMessage& frame) override {
        const std::string id = std::to_string(frame.slot) + '.' + std::to_string(frame.cycle);
        print(frame.timestamp, "flexray", frame.channel, id.c_str(), "-", frame.payload);
    }
    void receive(const MIITraceMessage& frame) override {
        print(frame.timestamp, "ethernet", frame.channel, "-", "-", frame.frame);
    }
    void receive(const EthernetTraceMessage& frame) override {
        if (frame.kind == EthernetTraceMessage::Frame) {
            print(frame.timestamp, "ethernet", frame.channel, "-", "-", frame.frame);
        }
    }
    void receive(const GPSTraceMessage& message) override { out << message.timestamp << " gps - - - -\n"; }
    void pass(PassedMessage kind, std::uint64_t timestamp) override {
        constexpr const char* names[passedMessages] = {"remote", "error", "xl", "truncated", "other"};
        out << timestamp << " - - - " << names[static_cast<std::size_t>(kind)] << " -\n";
    }

  private:
    void print(std::uint64_t timestamp, const char* bus, unsigned channel, const char* id, const char* flags,
               std::span<const std::uint8_t> bytes) {
        out << timestamp << ' ' << bus << ' ' << channel << ' ' << id << ' ' << flags << ' ';
        for (const std::uint8_t byte : bytes) {
            out << "0123456789ABCDEF"[byte >> 4] << "0123456789ABCDEF"[byte & 15];
        }
        out << (bytes.empty() ? "-\n" : "\n");
    }

    std::ostream& out;
};

/// Reads a whole trace. \return its frames, then what there is to say about its sources and their channels
inline std::string listFrames(Trace& trace) {
    std::ostringstream out;
    FrameListing lines(out);
    trace.run(lines);
    for (std::size_t i = 0; i < trace.count(); ++i) {
        for (const Remark& remark : trace.report(i).remarks) {
            out << remark << '\n';
        }
    }
    for (const Remark& remark : trace.channels().remarks()) {
        out << remark << '\n';
    }
    return out.str();
}

/// The same of a file with this content and the name `t`; or why it cannot be read.
inline std::string listFrames(const std::string& content) {
    try {
        Trace trace;
        trace.addMemory(std::span(reinterpret_cast<const std::uint8_t*>(content.data()), content.size()),
                        "t");
        return listFrames(trace);
    } catch (const Error& error) {
        return std::string(error.what()) + '\n';
    }
}

/// Adds a pipe with this content, for which it must have room. \return its end for writing, or -1 if it is
/// closed: an archive is read to its end when it is added
inline int addPipe(Trace& trace, const std::string& content, bool isOpen = true) {
    int ends[2];
    if (pipe(ends) != 0 || write(ends[1], content.data(), content.size()) < 0) {
        throw Error("no pipe");
    }
    if (!isOpen) {
        close(std::exchange(ends[1], -1));
    }
    trace.addDescriptor(ends[0], "t");
    close(ends[0]);
    return ends[1];
}

/// As listFrames(content), read from a pipe.
inline std::string listPiped(const std::string& content) {
    Trace trace;
    addPipe(trace, content, false);
    return listFrames(trace);
}

} // namespace rksignal
