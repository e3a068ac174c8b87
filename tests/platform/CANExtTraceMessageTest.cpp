/// \file
/// The record of a CAN frame and its text form.
#include "rktrace/CANExtTraceMessage.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

std::string textOf(const CANExtTraceMessage& message) {
    std::ostringstream out;
    out << std::hex << message << ' ' << 255;
    return out.str();
}

TEST(CANExtTraceMessage, TextForm) {
    EXPECT_EQ(textOf({}),
              "timestamp=1970-01-01 00:00:00.000000000,channel=0,frameFormat=0,length=0,canId=0x0,"
              "payload= 255");
    CANExtTraceMessage message;
    message.timestamp = 1'000'000'001;
    message.channel = 65;
    message.frameFormat = CANExtTraceMessage::FdExtended;
    message.canId = 0x1FFFFFFF;
    std::string payload;
    for (std::size_t i = 0; i < 64; ++i) {
        message.payload[i] = static_cast<std::uint8_t>(0x01 + 0x10 * (i % 16));
        payload += (i == 0 ? "" : " ") + std::string(1, "0123456789abcdef"[i % 16]) + "1";
    }
    const struct {
        std::uint8_t length;
        std::string payload;
    } rows[] = {{0, ""}, {1, "01"}, {3, "01 11 21"}, {64, payload}, {255, payload}};
    for (const auto& row : rows) {
        message.length = row.length;
        EXPECT_EQ(textOf(message),
                  "timestamp=1970-01-01 00:00:01.000000001,channel=65,frameFormat=3,length=" +
                      std::to_string(row.length) + ",canId=0x1fffffff,payload=" + row.payload + " 255");
    }
    EXPECT_EQ(message.getChannel(), 65);
    EXPECT_EQ(message.getCanId(), 0x1FFFFFFFU);
}

} // namespace
