// The text forms of the trace messages.

#include "rktrace/TraceRecord.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

TEST(TextForms, Can) {
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

template <class Message>
std::string text(const Message& message) {
    std::ostringstream out;
    out << std::hex << message << ' ' << 10;
    return out.str();
}

TEST(TextForms, AllOthers) {
    const std::string head = "timestamp=1970-01-01 00:00:00.000000001,";
    EXPECT_EQ(text(LINTraceMessage{1, {10, 255}, 2, 0xC5}),
              head + "channel=2,protectedId=0xc5,data=0a ff 10");
    EXPECT_EQ(text(EthernetTraceMessage{1, {10, 255}, 2, -8}), head + "channel=2,kind=-8,frame=0a ff 10");
    EXPECT_EQ(text(MIITraceMessage{1, {10, 255}, 2}), head + "channel=2,frame=0a ff 10");
    EXPECT_EQ(text(FlexRayExtTraceMessage{1, 17, 65, {10}, 2047, 63, {255, 0}}),
              head + "frameKind=17,channel=65,slot=2047,cycle=63,data=0a,payload=ff 00 10");
    EXPECT_EQ(text(GpioTraceMessage{1, {{3, 0x1F, 1}, {4, 0, 2}}}),
              head + "elements=[input=3,value=0x1f,mask=0x1,input=4,value=0x0,mask=0x2] 10");
    EXPECT_EQ(text(AnalogTraceMessage{1, {{3, -125, -2}}}), head + "elements=[input=3,value=-125e-2] 10");
    EXPECT_EQ(text(KeyboardMessage{1, 16, -1}), head + "keyCode=16,value=-1 10");
    EXPECT_EQ(text(SystemMessage(1, 16, "3")), head + "code=16,text=3 10");
    EXPECT_EQ(text(SystemUsageMessage(1, 40, 255, 70)),
              head + "code=2,text=,internalUsage=40,externalUsage=255,externalUsage2=70 10");
    EXPECT_EQ(text(GPSTraceMessage{1, "$GPRMC,*00\r\n$X\n"}), head + "sentences=$GPRMC,*00  $X  10");
}

} // namespace
