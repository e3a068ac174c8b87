/// \file
/// The record of a CAN frame and its text form.
#include "rktrace/CANExtTraceMessage.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

TEST(CANExtTraceMessage, TextForm) {
    CANExtTraceMessage message;
    message.timestamp = 1'000'000'001;
    message.channel = 65;
    message.frameFormat = CANExtTraceMessage::FdExtended;
    message.canId = 0x1FFFFFFF;
    message.payload.fill(0x0A);
    message.payload[0] = 0xF1;
    std::string payload = "f1";
    for (int i = 1; i < 64; ++i)
        payload += " 0a";
    const struct {
        std::uint8_t length;
        std::string payload;
    } rows[] = {{0, ""}, {1, "f1"}, {3, "f1 0a 0a"}, {64, payload}, {255, payload}};
    for (const auto& row : rows) {
        message.length = row.length;
        std::ostringstream out;
        out << std::hex << message << ' ' << 255;
        EXPECT_EQ(out.str(), "timestamp=1970-01-01 00:00:01.000000001,channel=65,frameFormat=3,length=" +
                                 std::to_string(row.length) + ",canId=0x1fffffff,payload=" + row.payload +
                                 " 255");
    }
    EXPECT_EQ(message.getChannel(), 65);
    EXPECT_EQ(message.getCanId(), 0x1FFFFFFFU);
}

} // namespace
