// LIN signals: their frames, their messages and their texts.

#include "bus/LINKey.h"
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::uint64_t kind = 0x4000000000000000;

linSignalDef_t linDefinition(const std::string& instance, std::uint16_t startbit = 0) {
    auto definition = byteDefinition<linSignalDef_t>(instance);
    definition.startbit = startbit;
    definition.msgId = 5;
    return definition;
}

std::vector<unsigned long> decode(const LINTraceMessage& message, std::uint8_t tslId = 0) {
    return decodedIds<LINSignal>(message, tslId);
}

} // namespace

static_assert(lin::frameKey(1, 2, 0x3C) == 0x400000000001023C);

using LINSignalTest = SignalTest;

TEST_F(LINSignalTest, FramesReachTheSignalsOfTheirIdentifier) {
    EXPECT_THAT(decode({.timestamp = 7, .data = {1}, .protectedId = 0xC5}), IsEmpty());
    const LINSignal low(linDefinition("low"));
    linSignalDef_t same = linDefinition("high", 60);
    same.msgId = 0x45; // its low six bits are the same
    same.bits = 4;
    const LINSignal high(same);
    EXPECT_THAT(decode({.timestamp = 7, .data = {0x12, 0, 0, 0, 0, 0, 0, 0xA0}, .protectedId = 0xC5}),
                ElementsAre(kind, kind + 1));
    EXPECT_EQ(low.slot->raw, 0x12U);
    EXPECT_EQ(high.slot->raw, 0xAU);
    EXPECT_EQ(high.slot->timestamp, 7U);
    EXPECT_THAT(decode({.data = std::vector<std::uint8_t>(256, 9), .protectedId = 5}), IsEmpty())
        << "the length has 8 bits";
    EXPECT_THAT(decode({.data = {1}, .protectedId = 6}), IsEmpty());
    EXPECT_THAT(decode({.data = {1}, .channel = 1, .protectedId = 5}), IsEmpty());
    EXPECT_THAT(decode({.data = {1}, .protectedId = 5}, 1), IsEmpty());
    EXPECT_THAT(decode({.data = {0x77}, .protectedId = 5}), ElementsAre(kind, kind + 1)) << "a short frame";
    EXPECT_EQ(low.slot->raw, 0x77U);
    EXPECT_EQ(high.slot->raw, 0U);
}

TEST_F(LINSignalTest, RecordsAreInUseByChannelAndIdentifier) {
    unsigned char record[27] = {};
    const auto inUse = [&record](unsigned char channel, unsigned char protectedId, unsigned char tslId) {
        record[14] = channel;
        record[26] = protectedId;
        return LINSignal::signalsInUse(record, nullptr, tslId);
    };
    linSignalDef_t definition = linDefinition("used");
    definition.channel = 2;
    const LINSignal used(definition);
    EXPECT_TRUE(inUse(2, 0xC5, 0) && !inUse(1, 0xC5, 0) && !inUse(2, 4, 0) && !inUse(2, 0xC5, 1));
}

TEST_F(LINSignalTest, SaysWhatItDoes) {
    CapturedOutput output;
    BaseSignal::debug = 2;
    {
        const LINSignal signal(linDefinition("a"));
        const std::string created = output.out.take();
        const std::string base = signalText("a");
        EXPECT_NE(
            created.find("[DEBUG] LINSignal::LINSignal() a created " + base + ";instance=a,signal=Signal,"),
            std::string::npos)
            << created;
        EXPECT_TRUE(created.ends_with(",msgId=5;index=4000000000000000\n")) << created;
        decode({.protectedId = 5});
        EXPECT_EQ(output.out.take(),
                  "[DEBUG] LINSignal::decodeMessage() Signal = a, id = 0x4000000000000005\n");
        decode({.timestamp = 1, .data = {10, 255}, .channel = 2, .protectedId = 5});
        EXPECT_EQ(
            output.out.take(),
            "[DEBUG] LINSignal::decodeMessage() LIN message not in canMessageContainer: timestamp=1970-01-01 "
            "00:00:00.000000001,channel=2,protectedId=0x05,data=0a ff, id = 0\n");
    }
}
