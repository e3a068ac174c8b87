/// \file
/// `list_frames FILE...`: prints the frames of traces as the replay library reads them, one line each, in the
/// order of time:
///
///     TIME BUS CHANNEL ID FLAGS BYTES
///     1700000000123456789 can 1 123 - 0102
///     1700000000123456789 can 1 18FEF100 fd 010203
///     1700000000123456789 lin 1 3C - 0102
///     1700000000123456789 flexray 1 12.63 - 0102     slot and cycle
///     1700000000123456789 ethernet 1 - - 0102        from the destination address on
///     1700000000123456789 - - - remote -             what carries no values has a kind alone
///
/// Times are nanoseconds since 1970-01-01 UTC. The exit status is 1 if a trace has damage, told on standard
/// error, and 2 if one cannot be read at all. judge.py prints the same lines of other readers.
#include "trace/Trace.h"

#include <cstdio>
#include <iostream>
#include <string>

namespace {

class FrameLines : public rksignal::MessageSink {
  public:
    using MessageSink::receive;

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
    void pass(rksignal::PassedMessage kind, std::uint64_t timestamp) override {
        constexpr const char* names[rksignal::passedMessages] = {"remote", "error", "xl", "truncated",
                                                                 "other"};
        std::cout << timestamp << " - - - " << names[static_cast<std::size_t>(kind)] << " -\n";
    }

  private:
    static void print(std::uint64_t timestamp, const char* bus, unsigned channel, const char* id,
                      const char* flags, std::span<const std::uint8_t> bytes) {
        std::cout << timestamp << ' ' << bus << ' ' << channel << ' ' << id << ' ' << flags << ' ';
        for (const std::uint8_t byte : bytes) {
            std::cout << "0123456789ABCDEF"[byte >> 4] << "0123456789ABCDEF"[byte & 15];
        }
        std::cout << (bytes.empty() ? "-\n" : "\n");
    }
};

} // namespace

int main(int argc, char* argv[]) {
    std::ios::sync_with_stdio(false);
    try {
        rksignal::Trace trace;
        for (int i = 1; i < argc; ++i) {
            trace.addFile(argv[i]);
        }
        FrameLines lines;
        trace.run(lines);
        for (std::size_t i = 0; i < trace.count(); ++i) {
            for (const rksignal::Remark& remark : trace.report(i).remarks) {
                std::cerr << remark << '\n';
            }
        }
        return trace.isSound() ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 2;
    }
}
