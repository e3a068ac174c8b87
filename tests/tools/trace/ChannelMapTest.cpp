#include "trace/ChannelMap.h"

#include <gmock/gmock.h>

namespace rksignal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

TEST(ChannelMap, DigitsAtTheEndAreTheChannel) {
    ChannelMap channels;
    EXPECT_THAT(channels.channelOf("can0"), Optional(0));
    EXPECT_THAT(channels.channelOf("vcan3"), Optional(3));
    EXPECT_THAT(channels.channelOf("can2can17"), Optional(17));
    EXPECT_THAT(channels.channelOf("can255"), Optional(255));
    EXPECT_THAT(channels.channelOf("can0"), Optional(0));
    EXPECT_EQ(channels.nameOf(17), "can2can17");
    EXPECT_EQ(channels.nameOf(9), "channel 9");
    EXPECT_THAT(channels.remarks(), IsEmpty());
}

TEST(ChannelMap, OtherNamesGetTheLowestFreeNumber) {
    ChannelMap channels;
    EXPECT_THAT(channels.channelOf("can1"), Optional(1));
    EXPECT_THAT(channels.channelOf("powertrain"), Optional(0));
    EXPECT_THAT(channels.channelOf("can256"), Optional(2));
    EXPECT_THAT(channels.channelOf("powertrain"), Optional(0));
    EXPECT_THAT(channels.remarks(), ElementsAre("interface powertrain counts as channel 0",
                                                "interface can256 counts as channel 2"));
}

TEST(ChannelMap, SharedNumbersAreRemarkedOn) {
    ChannelMap channels;
    channels.channelOf("can0");
    EXPECT_THAT(channels.channelOf("vcan0"), Optional(0));
    EXPECT_THAT(channels.remarks(), ElementsAre("interfaces can0 and vcan0 are both channel 0; "
                                                "--channel NAME=N tells them apart"));
}

TEST(ChannelMap, AssignedNumbersComeFirst) {
    ChannelMap channels;
    channels.assign("can0", 5);
    channels.assign("body", 0);
    EXPECT_TRUE(channels.knows("body"));
    EXPECT_FALSE(channels.knows("can5"));
    EXPECT_THAT(channels.channelOf("can0"), Optional(5));
    EXPECT_THAT(channels.channelOf("body"), Optional(0));
    EXPECT_THAT(channels.channelOf("chassis"), Optional(1));
}

TEST(ChannelMap, NamesAreLimited) {
    ChannelMap channels;
    for (int i = 0; i < 256; ++i) {
        EXPECT_TRUE(channels.channelOf("a" + std::to_string(i)));
    }
    EXPECT_FALSE(channels.channelOf("b0"));
    EXPECT_THAT(channels.channelOf("a255"), Optional(255));
}

} // namespace
} // namespace rksignal
