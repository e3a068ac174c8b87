// The text forms of the trace messages.

#include "rktrace/TraceRecord.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

const std::string head = "timestamp=1970-01-01 00:00:00.000000001,";

template <class Message>
std::string text(const Message& message) {
    std::ostringstream out;
    out << std::hex << message << ' ' << 10;
    return out.str();
}

TEST(TextForms, CanShowsAtMostThePayload) {
    std::string payload = "f1";
    for (int i = 1; i < 64; ++i)
        payload += " 00";
    EXPECT_EQ(text(CANExtTraceMessage{1, 65, CANExtTraceMessage::FdExtended, 255, 0x1FFFFFFF, {0xF1}}),
              head + "channel=65,frameFormat=3,length=255,canId=0x1fffffff,payload=" + payload + " 10");
}

TEST(TextForms, AllOthers) {
    EXPECT_EQ(text(EthernetTraceMessage{1, {10, 255}, 2, -8}), head + "channel=2,kind=-8,frame=0a ff 10");
    EXPECT_EQ(text(MIITraceMessage{1, {10, 255}, 2}), head + "channel=2,frame=0a ff 10");
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
