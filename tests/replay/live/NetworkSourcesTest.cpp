/// \file
/// Packets and lines as they come: cannelloni and Ethernet at the loopback address, candump through a pipe.
#include "live/CannelloniSource.h"
#include "live/CaptureSource.h"
#include "live/LiveLoop.h"
#include "live/LogPipeSource.h"
#include "live/PacketSequence.h"
#include "replay/live/LiveFrames.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace rksignal {
namespace {

/// Sends datagrams to a port of this machine.
class Sender {
  public:
    explicit Sender(std::uint16_t port) {
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }
    ~Sender() { close(socket); }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    void send(const std::string& hex) const {
        std::string bytes;
        for (std::size_t i = 0; i < hex.size(); i += 2) {
            bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
        }
        EXPECT_EQ(sendto(socket, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                         sizeof address),
                  static_cast<ssize_t>(bytes.size()));
    }

  private:
    int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
};

TEST(Cannelloni, GivesTheFramesOfPackets) {
    const std::string one = "00000123"
                            "02"
                            "AABB"; // identifier, length, data
    const std::string got = "can 4 123 - AABB\n";
    const struct {
        std::string packet, frames;
        const char* damage = nullptr;
    } rows[] = {
        {"0200000001" + one, got},
        {"0200010005"
         "9ABCDEF0"
         "82"
         "01"
         "CCDD"
         "000007FF"
         "00"
         "40000005"
         "08"
         "20000004"
         "08"
         "0004000000000000" +
             one,
         "can 4 1ABCDEF0 fd CCDD\ncan 4 7FF - -\n- - - remote -\n- - - error -\n" + got},
        {"0200020001"
         "00000001"
         "C0"
         "00" +
             std::string(128, '1'),
         "can 4 001 fd " + std::string(128, '1') + "\n"},
        {"0200030000", ""},
        {"0200040002" + one, got, "packet has fewer frames than it announces"},
        {"0200050001"
         "00000001"
         "80",
         "", "packet has fewer frames than it announces"},
        {"0200060002" + one +
             "00000001"
             "04"
             "112233",
         got, "frame is longer than its packet"},
        {"020007FFFF"
         "00000001"
         "09"
         "112233445566778899",
         "", "length of a frame is impossible"},
        {"0200080001"
         "00000001"
         "C1"
         "00" +
             std::string(130, '1'),
         "", "length of a frame is impossible"},
        {"01000A0001" + one, "", "packet is not of version 2"},
        {"02010A0001" + one, "", "packet is not one of frames"},
        {"02000900", "", "packet is shorter than its head"},
        {"0200090001" + one + std::string(20000, '0'), got,
         nullptr},                 // more bytes than are read: none missing
        {"02000C0001" + one, got}, // two packets are missing
        {"02000A0001" + one, got}, // here is one of them
        {"0200050001" + one, got}, // the sender begins anew
        {"0200060001" + one, got},
    };
    CannelloniSource source("127.0.0.1:0", 4);
    const Sender sender(source.port());
    LiveFrames frames;
    std::size_t damaged = 0;
    for (const auto& row : rows) {
        const std::uint64_t before = wallTime();
        sender.send(row.packet);
        source.read(frames);
        EXPECT_EQ(frames.take(), row.frames) << row.packet;
        if (!row.frames.empty()) {
            EXPECT_GE(frames.latestTime(), before);
        }
        if (row.damage != nullptr) {
            ASSERT_EQ(source.remarks().kept().size(), ++damaged) << row.packet;
            EXPECT_EQ(source.remarks().kept().back().text, row.damage) << row.packet;
        }
    }
    EXPECT_EQ(source.counts().lost, 1U);
    EXPECT_EQ(source.counts().damaged, damaged);
    for (const char* const address : {"127.0.0.1", "127.0.0.1:x", "localhost:1", "192.0.2.1:1"}) {
        EXPECT_THROW(CannelloniSource(address, 0), Error) << address;
    }
}

TEST(PacketSequence, CountsWhatIsMissing) {
    const struct {
        std::vector<int> numbers;
        int lost;
    } rows[] = {
        {{254, 255, 0, 1}, 0},   {{7, 9, 8, 10}, 0},   {{250, 4, 255, 5}, 8},
        {{0, 127, 128}, 126},    {{0, 40, 9, 41}, 38}, {{0, 40, 8, 9}, 39}, // 33 places back
        {{0, 3, 1, 1, 2, 3}, 1}, {{100, 0, 1, 2}, 0},  {{5, 5, 6}, 0},
    };
    for (const auto& row : rows) {
        PacketSequence packets;
        int lost = 0;
        for (const int number : row.numbers) {
            lost += packets.meet(static_cast<std::uint8_t>(number));
        }
        EXPECT_EQ(lost, row.lost) << row.numbers.front() << ' ' << row.numbers[1];
    }
}

TEST(LogPipe, GivesLinesAsTheyComeInParts) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ChannelMap channels;
    channels.assign("body", 9);
    LogPipeSource source("candump", ends[0], channels);
    LiveFrames frames;
    const auto give = [&](const std::string& text) {
        EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
        source.read(frames);
        return frames.take();
    };
    source.read(frames); // nothing is there: does not wait
    EXPECT_EQ(give("(5.000000001) can1 12"), "");
    EXPECT_EQ(give("3#0102\r\n\n(6.0) body 1"), "can 1 123 - 0102\n");
    EXPECT_EQ(frames.latestTime(), 5'000'000'001U);
    EXPECT_EQ(give("23##1AB\nnonsense\nDROPCOUNT: dropped 3 CAN frames on 'can1' socket (total drops 8)\n"),
              "can 9 123 fd AB\n");
    EXPECT_EQ(give(std::string(30000, 'x')), "");
    EXPECT_EQ(give("(7.0) can1 001#\n(7.0) can1 002#\n"), "can 1 002 - -\n");
    frames.open(1);
    EXPECT_EQ(give("(8.0) can1 003#\n(8.0) can1 004#R\n(9.0) can1 005#"), "can 1 003 - -\n");
    close(ends[1]);
    EXPECT_FALSE(source.ended());
    frames.open(10);
    source.read(frames);
    source.read(frames);
    EXPECT_EQ(frames.take(), "- - - remote -\ncan 1 005 - -\n");
    EXPECT_TRUE(source.ended());
    EXPECT_EQ(countsOf(source), "6, 3, 2");
}

TEST(Capture, GivesTheFramesOfTheLoopbackInterface) {
    std::unique_ptr<CaptureSource> source;
    try {
        source = std::make_unique<CaptureSource>("lo", 3, CaptureSettings{.filter = "udp dst port 40999"});
    } catch (const Error& error) {
        GTEST_SKIP() << "the process may not capture: " << error.what();
    }
    EXPECT_THROW(CaptureSource("lo", 3, {.filter = "udp dst prt"}), Error);
    EXPECT_THROW(CaptureSource("no such", 3), Error);
    const CaptureSource& capture = *source;
    LiveLoop loop;
    loop.add(std::move(source));
    const Sender sender(40999);
    const std::uint64_t before = wallTime();
    sender.send("0102");
    Sender(40998).send("03");
    LiveFrames frames;
    loop.every(20'000'000, [&] { loop.stop(); });
    loop.run(frames);
    const std::string line = frames.take();
    const std::string head = "ethernet 3 - - 0000000000000000000000000800"
                             "4500001E"; // IPv4, 30 bytes
    EXPECT_EQ(line.substr(0, head.size()), head);
    EXPECT_EQ(line.substr(line.find('\n') - 16), "A027000A" + line.substr(line.find('\n') - 8, 4) + "0102\n");
    EXPECT_GE(frames.latestTime(), before);
    EXPECT_LE(frames.latestTime(), wallTime());
    EXPECT_EQ(countsOf(capture), "1, 0, 0");
}

} // namespace
} // namespace rksignal
