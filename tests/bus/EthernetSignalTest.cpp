// Ethernet signals: their frames, their containers, the remembered decisions, and their texts.

#include "bus/EthernetSignal.h"
#include "bus/EthernetTest.h"
#include "rktrace/TraceRecord.h"

#include <algorithm>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::uint64_t kind = 0x1000000000000000;

/// A PDU or message: identifier, length, the rest of its header, then `data` bytes from 0xA0 on.
Octets container(std::uint32_t identifier, std::uint32_t length, std::size_t headerBytes, std::size_t data) {
    Octets octets;
    append(octets, std::uint64_t{identifier} << 32 | length, 8);
    octets.resize(headerBytes);
    for (std::size_t i = 0; i < data; ++i)
        octets.push_back(static_cast<std::uint8_t>(0xA0 + i));
    return octets;
}

} // namespace

TEST_F(EthernetTest, HashesFramesAndMasksAddresses) {
    ethernetPosition_t position{.sourceMac = 0x020000000001, .sourceIp = 0x0100000A};
    position.destinationPort = 2000;
    position.ipProtocol = 17;
    position.vlan = true;
    position.vlanId = 5;
    const miiFrameInfo_t frame{position.sourceMac, 0, position.sourceIp, 0, 0, 2000, 17, 1, 5, 46};
    EXPECT_EQ(hashFrame(frame, 3), 0x4B973E868349FDFEU) << "worked out apart";
    EXPECT_EQ(EthernetFrameHash(position, 3).hash, 0x8349FDFEU);
    position.sourceMac |= 1ULL << 48;
    EthernetFrameHash hash(position, 3);
    EXPECT_FALSE(hash.match(frame, 3));
    hash.setFrame(position, 3);
    EXPECT_TRUE(hash.match(frame, 3) && !hash.match(frame, 2));
    EXPECT_EQ(EthernetFrameHash(hash).channel, 0);
}

TEST_F(EthernetTest, WalksContainersToTheFramesEnd) {
    using enum ethSignalPosType_t;
    const Octets pdus = container(1, 2, 8, 2) + container(2, 3, 8, 3) + Octets{0};
    const Octets message = container(0x12348001, 2, 16, 2) + Octets{0};
    const struct {
        ethernetPosition_t position;
        Octets payload;
        std::string lines;
    } rows[] = {
        {{.ethSignalType = IPDU, .startBit = 32, .pduId = 2},
         pdus,
         "D check pdu at 42\nD skipped: IPDU 1\nD check pdu at 52\nD found: IPDU 2\n"
         "D a: payload to small\n"},
        {{.ethSignalType = SOMEIP, .serviceId = 0x11234, .methodEventId = 0x8001},
         container(0x12340001, 0, 16, 0) + message,
         "D check serviceID 1234, methodeEventId 1\nD check serviceID 1234, methodeEventId 8001\n"
         "D a not found\n"},
        {{.ethSignalType = static_cast<ethSignalPosType_t>(4)},
         {1},
         "E a: unknown ethernet signal type = \nD a not found\n"},
    };
    for (const auto& [position, payload, lines] : rows) {
        const EthernetSignal signal(definition("a", position));
        BaseSignal::debug = 1;
        decode(FrameText{}.with(payload));
        BaseSignal::debug = 0;
        EXPECT_EQ(linesAfter(output.out.take(), "checking for a"), lines);
    }
}

TEST_F(EthernetTest, OffsetsHaveSixteenBits) {
    const EthernetSignal far(definition("far", {.ethSignalType = ethSignalPosType_t::IPDU, .pduId = 2}));
    Octets payload = container(1, 65536 - 42 - 16, 8, 65536 - 42 - 16) + container(2, 4, 8, 4) + Octets{0};
    Octets frame = FrameText{}.with({}, payload.size());
    std::copy(payload.begin(), payload.end(), frame.begin() + 42);
    EXPECT_THAT(decode(frame), ElementsAre(kind));
    EXPECT_EQ(far.slot->raw, 2U) << "the first byte of the frame, at 65536 - 65536";
    EXPECT_EQ(frame[0], 2);
}

TEST_F(EthernetTest, FramesOfChannelsInUseAreDecoded) {
    const EthernetSignal signal(definition("signal", {}));
    EthernetSignal::channelsInUse[9] = true;
    std::vector<unsigned long> ids{1};
    EXPECT_FALSE(EthernetSignal::decodeMessage(EthernetTraceMessage{1, {}, 0, 7}, ids));
    EXPECT_FALSE(EthernetSignal::decodeMessage(MIITraceMessage{1, {}, 1}, ids));
    EXPECT_THAT(ids, ElementsAre(1)) << "not even emptied";
    EXPECT_FALSE(EthernetSignal::decodeMessage(MIITraceMessage{1, {}, 9}, ids));
    EXPECT_THAT(ids, IsEmpty());
    EXPECT_TRUE(EthernetSignal::decodeMessage(EthernetTraceMessage{1, FrameText{}.with({5}), 0, 8}, ids));
}

TEST_F(EthernetTest, DecisionsStayUntilTheLastSignalLeaves) {
    auto first = std::make_unique<EthernetSignal>(definition("first", {.destinationPort = 1}));
    const Octets frame = FrameText{.destinationPort = 2}.with({9});
    EXPECT_THAT(decode(frame), IsEmpty());
    EXPECT_THAT(decode(FrameText{.destinationPort = 1}.with({9})), ElementsAre(kind));
    auto late = std::make_unique<EthernetSignal>(definition("late", {}));
    EXPECT_THAT(decode(frame), IsEmpty());
    EXPECT_THAT(decode(FrameText{.destinationPort = 1}.with({9})), ElementsAre(kind));
    EXPECT_THAT(decode(FrameText{.destinationPort = 3}.with({9})), ElementsAre(kind + 1));
    first.reset();
    EXPECT_EQ(EthernetSignal::positiveList.size(), 1U) << "the entry of the first is empty and gone";
    EXPECT_THAT(decode(FrameText{.destinationPort = 1}.with({9})), ElementsAre(kind + 1));
    late.reset();
    EXPECT_THAT(EthernetSignal::negativeList, IsEmpty());
    const EthernetSignal again(definition("again", {.destinationPort = 2}));
    EXPECT_THAT(decode(frame), ElementsAre(kind + 2));
}

TEST_F(EthernetTest, MadeUpAddressesDoNotFillTheMemory) {
    const EthernetSignal signal(definition("signal", {.destinationPort = 1}));
    for (const std::uint16_t port : {std::uint16_t{2}, std::uint16_t{1}}) {
        std::size_t most = 0;
        for (std::uint32_t i = 0; i < 70'000; ++i) {
            decode(FrameText{.destinationPort = port, .sourceMac = 0x020000000000U + i}.with({1}));
            most = std::max(most, EthernetSignal::negativeList.size() + EthernetSignal::positiveList.size());
        }
        EXPECT_LE(most, EthernetSignal::maxNegative + (port == 1 ? EthernetSignal::maxPositive : 0));
    }
    // Emptied on the way; a few of the frames share a key.
    EXPECT_LE(EthernetSignal::negativeList.size(), 70'000 - EthernetSignal::maxNegative);
    EXPECT_LE(EthernetSignal::positiveList.size(), 70'000 % EthernetSignal::maxPositive);
    EXPECT_GT(EthernetSignal::positiveList.size(), 4000U);
}

TEST_F(EthernetTest, RecordsAreInUseByTheirFrames) {
    const auto inUse = [](const auto& message) {
        std::vector<std::uint8_t> record;
        encodeRecord(message, record);
        return EthernetSignal::signalsInUse(record.data(), nullptr);
    };
    const Octets frame = FrameText{.destinationPort = 1}.with({1}), other = FrameText{}.with({1});
    EXPECT_FALSE(inUse(MIITraceMessage{1, frame, 3}));
    ethernetSignalDef_t def = definition("used", {.destinationPort = 1});
    def.channel = 3;
    const EthernetSignal used(def);
    EXPECT_TRUE(inUse(MIITraceMessage{1, frame, 3}) && inUse(EthernetTraceMessage{1, frame, 3, 8}));
    EXPECT_FALSE(inUse(MIITraceMessage{1, other, 3}) || inUse(EthernetTraceMessage{1, other, 3, 8}));
    EXPECT_FALSE(inUse(MIITraceMessage{1, frame, 2}) || inUse(EthernetTraceMessage{1, frame, 3, 0x108}));
    EXPECT_FALSE(inUse(CANExtTraceMessage{1, 3, 0, 0, 0x03030303, {}}));
}

TEST_F(EthernetTest, SaysWhatItDoes) {
    BaseSignal::debug = 3;
    const std::string position =
        ",sourceMac=00:00:00:00:00:00,destinationMac=00:00:00:00:00:00,sourceIp=0.0.0.0,"
        "destinationIp=0.0.0.0,sourcePort=0,destinationPort=2000,ipProtocol=17,vlan=false,vlanId=0,pduId=0,"
        "messageId=0,serviceId=0,methodEventId=0,startByte=0,numBytes=1]";
    ethernetSignalDef_t def = definition("a", {.destinationPort = 2000, .ipProtocol = 17});
    def.positions.push_back({.startBit = 3, .destinationPort = 2000, .ipProtocol = 17});
    const EthernetSignal signal(def);
    const std::string created = output.out.take();
    EXPECT_NE(created.find("[DEBUG] EthernetSignal::EthernetSignal() a created ;" + signalText("a") +
                           ";instance=a,signal=Signal,"),
              std::string::npos);
    EXPECT_NE(created.find(",tslId=0[ethSignalType=DEFAULT,startBit=0" + position +
                           "[ethSignalType=DEFAULT,startBit=3"),
              std::string::npos)
        << created;
    EXPECT_TRUE(created.ends_with("[DEBUG] EthernetSignal::EthernetSignal() child a created \n"));
    EthernetSignal::ethernetFrames.erase(&signal.children[0]->frameHash);
    const std::string analysed =
        "D analyzeFrame:sourceMac=02:00:00:00:00:01,destinationMac=02:00:00:00:00:02,sourceIp=10.0.0.1,"
        "destinationIp=10.0.0.2,sourcePort=1000,destinationPort=2000,ipProtocol=17,vlan=0,vlanId=0,"
        "payloadOffset=42\nD frame size = 43\n02 00 00 00 00 02 02 00 00 00 00 01 08 00 45 00\n"
        "00 1d 00 00 00 00 40 11 00 00 0a 00 00 01 0a 00\n00 02 03 e8 07 d0 00 09 00 00 07\n";
    const Octets frame = FrameText{}.with({7});
    decode(frame);
    const std::string key = hex(EthernetSignal::positiveList.begin()->first);
    EXPECT_EQ(linesAfter(output.out.take(), ""),
              analysed + "D sMAC=00:00:00:00:00:00,dMAC=00:00:00:00:00:00,sIP=0.0.0.0,dIP=0.0.0.0,sP=0," +
                  "dP=2000,ipProto=17,vlan=false,vId=0\nD " + key +
                  " in use, inserted in positiveList\nD positiveList->second.size() = 1\n"
                  "D checking for a\n");
    decode(frame);
    EXPECT_EQ(linesAfter(output.out.take(), ""),
              analysed + "D " + key + " found in positiveList\nD checking for a\n");
    decode({});
    EXPECT_TRUE(output.out.take().starts_with("[DEBUG] EthernetSignal::decode() analyzeFrame failed: sou"));
    for (const char* decision : {" not in use, inserted in negativeList\n", " found in negativeList\n"}) {
        decode(FrameText{.destinationPort = 1}.with({7}));
        EXPECT_TRUE(output.out.take().ends_with(decision));
    }
}
