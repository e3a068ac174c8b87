/// \file
/// Frames as the kernel's structures have them, over real sockets.
#include "live/ReceiveFilters.h"
#include "live/SocketCanSource.h"
#include "replay/live/LiveFrames.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <linux/can.h>
#include <linux/can/error.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace rksignal {
namespace {

template <class Frame>
Frame make(canid_t id, std::uint8_t length, std::uint8_t firstByte) {
    Frame frame{};
    frame.can_id = id;
    frame.len = length;
    frame.data[0] = firstByte;
    return frame;
}

can_frame controllerError(std::uint8_t what) {
    can_frame frame = make<can_frame>(CAN_ERR_FLAG | CAN_ERR_CRTL, CAN_ERR_DLC, 0);
    frame.data[1] = what;
    return frame;
}

struct Pair {
    Pair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()), 0); }
    ~Pair() { close(ends[1]); }
    void send(const void* bytes, std::size_t size) const { EXPECT_EQ(write(ends[1], bytes, size), size); }

    std::array<int, 2> ends{};
};

TEST(SocketCan, TellsFramesByTheirSizesAndFlags) {
    const Pair sockets;
    SocketCanSource source("can2", sockets.ends[0], 2);
    LiveFrames frames;
    can_frame padded = make<can_frame>(0x123, 2, 0xAB);
    padded.__pad = CANFD_FDF; // not cleared by who sent it; the size counts
    sockets.send(&padded, sizeof padded);
    const auto sendAll = [&sockets](const auto&... all) { (sockets.send(&all, sizeof all), ...); };
    std::array<std::uint8_t, 2060> xl{}; // struct canxl_frame: priority, flags, ..., at most 2,048 bytes
    xl[4] = 0x81;
    const std::uint64_t before = wallTime();
    sendAll(make<can_frame>(0x1ABCDEF0 | CAN_EFF_FLAG, 1, 7), make<canfd_frame>(0x7FF, 1, 9),
            make<canfd_frame>(1 | CAN_EFF_FLAG, 64, 1), make<can_frame>(5 | CAN_RTR_FLAG, 8, 0),
            controllerError(CAN_ERR_CRTL_RX_OVERFLOW), controllerError(CAN_ERR_CRTL_TX_WARNING), xl,
            make<can_frame>(5, 9, 0), make<canfd_frame>(5, 65, 0), std::array<std::uint8_t, 3>{},
            std::array<std::uint8_t, 73>{}, std::array<std::uint8_t, 300>{});
    source.read(frames);
    EXPECT_EQ(frames.take(), "can 2 123 - AB00\n"
                             "can 2 1ABCDEF0 - 07\n"
                             "can 2 7FF fd 09\n"
                             "can 2 00000001 fd 01" +
                                 std::string(126, '0') +
                                 "\n"
                                 "- - - remote -\n- - - error -\n- - - error -\n- - - xl -\n");
    EXPECT_GE(frames.latestTime(), before);
    EXPECT_LE(frames.latestTime(), wallTime());
    EXPECT_EQ(countsOf(source), "8, 1, 5");
    ASSERT_EQ(source.remarks().count(Severity::Error), 5U);
    EXPECT_EQ(source.remarks().kept().front().message(), "frame is longer than its packet");
    EXPECT_EQ(source.remarks().kept().back().message(), "not of the size of a CAN frame");
}

TEST(SocketCan, KeepsWhatAClosedSinkDoesNotTakeAndEndsWithItsSocket) {
    Pair sockets;
    SocketCanSource source("can0", sockets.ends[0], 0);
    const can_frame frame = make<can_frame>(1, 1, 1);
    sockets.send(&frame, sizeof frame);
    sockets.send(&frame, sizeof frame);
    close(std::exchange(sockets.ends[1], -1));
    LiveFrames frames(1);
    source.read(frames);
    EXPECT_EQ(source.due(), 0U);
    EXPECT_FALSE(source.ended());
    frames.open(10);
    source.read(frames);
    EXPECT_EQ(source.due(), std::nullopt);
    source.read(frames);
    EXPECT_TRUE(source.ended());
    EXPECT_EQ(frames.take(), "can 0 001 - 01\ncan 0 001 - 01\n");
    EXPECT_EQ(countsOf(source), "2, 0, 0");
}

/// A socket of UDP tells what it dropped as one of CAN does.
TEST(SocketCan, CountsWhatTheKernelDropped) {
    const int receiver = socket(AF_INET, SOCK_DGRAM, 0);
    const int smallest = 0;
    setsockopt(receiver, SOL_SOCKET, SO_RCVBUF, &smallest, sizeof smallest);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(bind(receiver, generic, length), 0);
    ASSERT_EQ(getsockname(receiver, generic, &length), 0);
    SocketCanSource source("can0", receiver, 0);
    const int sender = socket(AF_INET, SOCK_DGRAM, 0);
    const can_frame frame = make<can_frame>(1, 1, 1);
    LiveFrames frames;
    constexpr std::uint64_t sent = 100;
    for (std::uint64_t i = 0; i <= sent; ++i) {
        if (i == sent) {
            source.read(frames); // makes room for the last one, which tells of those before it
        }
        ASSERT_EQ(sendto(sender, &frame, sizeof frame, 0, generic, length), sizeof frame);
    }
    source.read(frames);
    close(sender);
    const LiveCounts counts = source.counts();
    EXPECT_GT(counts.lost, 0U);
    EXPECT_EQ(counts.messages + counts.lost, sent + 1);
}

/// `ID/MASK` each, as hexadecimal numbers.
std::string filtersOf(const std::string& dbc, std::uint8_t channel) {
    Catalog catalog;
    catalog.addDbcText(dbc, "t.dbc", 1);
    std::ostringstream text;
    for (const can_filter& each : receiveFilters(catalog, channel)) {
        text << std::hex << each.can_id << '/' << each.can_mask << ' ';
    }
    return text.str();
}

TEST(ReceiveFilters, NameTheIdentifiersThatHaveDefinitions) {
    const std::string signal = " SG_ A : 0|8@1+ (1,0) [0|0] \"\" X\n";
    const std::string two = "BO_ 2147483656 B: 8 X\n" + signal + "BO_ 256 C: 8 X\n" + signal;
    EXPECT_EQ(filtersOf(two, 1), "100/c00007ff 80000008/dfffffff ");
    EXPECT_EQ(filtersOf(two, 2), "");
    const std::string group =
        "BA_DEF_ BO_ \"VFrameFormat\" ENUM \"StandardCAN\",\"ExtendedCAN\",\"reserved\",\"J1939PG\";\n"
        "BA_ \"VFrameFormat\" BO_ 2566845438 3;\n";
    EXPECT_EQ(filtersOf(two + "BO_ 2566845438 G: 8 X\n" + signal + group, 1), "");
    std::string many;
    for (int i = 0; i < 512; ++i) {
        many += "BO_ " + std::to_string(i) + " M" + std::to_string(i) + ": 8 X\n" + signal;
    }
    EXPECT_EQ(filtersOf(many, 1).size(),
              std::string("0/c00007ff ").size() * 512 + 240 + std::size_t{2} * 256);
    EXPECT_EQ(filtersOf(many + "BO_ 512 N: 8 X\n" + signal, 1), "");
}

} // namespace
} // namespace rksignal
