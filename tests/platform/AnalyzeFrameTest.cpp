// The analysis of Ethernet frames: what it reads, and what it refuses.

#include "rktrace/MIITraceMessage.h"
#include "support/EthernetFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>

namespace {

/// What the analysis says, from a buffer of exactly the frame's size.
std::string analyzed(const Octets& frame) {
    const auto exact = std::make_unique<std::uint8_t[]>(frame.size());
    std::copy(frame.begin(), frame.end(), exact.get());
    miiFrameInfo_t info{};
    if (!MIITraceMessage::analyzeFrame(exact.get(), frame.size(), info))
        return "refused";
    std::ostringstream out;
    out << std::hex << info;
    return out.str();
}

const std::string addresses = "sourceMac=02:00:00:00:00:01,destinationMac=02:00:00:00:00:02,"
                              "sourceIp=10.0.0.1,destinationIp=10.0.0.2,sourcePort=1000,destinationPort=2000";

} // namespace

TEST(AnalyzeFrame, ReadsWhatIsThere) {
    const Octets discovery{0x01, 0x00, 0x5e, 0x40, 0xff, 0xfa, 0x02, 0x7d, 0xfa, 0x00, 0x10, 0x14,
                           0x81, 0x00, 0x60, 0x05, 0x08, 0x00, 0x45, 0x00, 0x00, 0x1d, 0x12, 0x34,
                           0x40, 0x00, 0x01, 0x11, 0x00, 0x00, 0xac, 0x10, 0x00, 0x14, 0xe0, 0xc0,
                           0xff, 0xfa, 0x77, 0x1a, 0x77, 0x1b, 0x00, 0x09, 0x00, 0x00, 0xff};
    EXPECT_EQ(analyzed(discovery),
              "sourceMac=02:7d:fa:00:10:14,destinationMac=01:00:5e:40:ff:fa,sourceIp=172.16.0.20,"
              "destinationIp=224.192.255.250,sourcePort=30490,destinationPort=30491,ipProtocol=17,vlan=1,"
              "vlanId=5,payloadOffset=46");
    const struct {
        const char* name;
        Octets frame;
        const char* rest;
    } rows[] = {
        {"priority tag", FrameText{.tag = 0xE000}.with({}, 17),
         ",ipProtocol=17,vlan=1,vlanId=0,payloadOffset=46"},
        {"TCP with all options", FrameText{.protocol = 6, .ipWords = 15, .tcpWords = 15}.with({1}),
         ",ipProtocol=6,vlan=0,vlanId=0,payloadOffset=134"},
        {"first fragment", FrameText{.fragment = 0x2000}.with({1}),
         ",ipProtocol=17,vlan=0,vlanId=0,payloadOffset=42"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(analyzed(row.frame), addresses + row.rest) << row.name;
        Octets fragment = row.frame;
        for (fragment.resize(std::min<std::size_t>(fragment.size(), 40)); !fragment.empty();
             fragment.pop_back())
            EXPECT_EQ(analyzed(fragment), "refused") << row.name << " cut to " << fragment.size();
    }
}

TEST(AnalyzeFrame, RefusesTheRest) {
    EXPECT_EQ(analyzed(FrameText{.fragment = 1}.with({1, 2})), "refused") << "later fragment";
    const struct {
        const char* name;
        FrameText text;
        std::size_t offset;
        std::uint8_t byte;
    } rows[] = {
        {"ARP", {}, 13, 0x06},
        {"stacked tags", {.tag = 5}, 16, 0x81},
        {"service tag", {.tag = 5}, 12, 0x88},
        {"IP header of 16 bytes", {}, 14, 0x44},
        {"IP header past the packet", {}, 14, 0x4F},
        {"packet past the frame", {}, 17, 31},
        {"packet shorter than UDP header", {}, 17, 27},
        {"ICMP", {}, 23, 1},
        {"UDP length 7", {}, 39, 7},
        {"UDP length past the packet", {}, 39, 11},
        {"TCP header of 16 bytes", {.protocol = 6}, 46, 0x40},
        {"TCP header past the packet", {.protocol = 6}, 46, 0x60},
    };
    for (const auto& row : rows) {
        Octets frame = row.text.with({1, 2});
        EXPECT_NE(analyzed(frame), "refused") << row.name;
        frame[row.offset] = row.byte;
        EXPECT_EQ(analyzed(frame), "refused") << row.name;
    }
}
