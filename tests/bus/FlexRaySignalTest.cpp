/// \file
/// FlexRay signals: where they are filed, what frames and records reach them, and their texts.
#include "rktrace/TraceRecord.h"
#include "signal/PlainPaths.h"
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <map>
#include <memory>
#include <random>

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t kind = 0x2000000000000000;

static_assert(flexray::frameKey(0, 1, 10, 16, 4) == 0x2000000000401501);
static_assert(flexray::frameKey(255, 255, 2047, 17, 63) == 0x20000003FFFFFEFF);
static_assert(flexray::frameKey(0, 0, 2048, 17, 0) == flexray::frameKey(0, 0, 0, 17, 1)); // carries

/// Static slot 10, in every cycle unless told otherwise.
flexRayPosition_t position(std::uint16_t startBit = 0, std::uint8_t baseCycle = 0,
                           std::uint8_t repetition = 1) {
    return {.startBit = startBit, .type = true, .slot = 10, .baseCycle = baseCycle, .repetition = repetition};
}

flexRaySignalDef_t definition(const std::string& instance, std::vector<flexRayPosition_t> positions) {
    auto def = byteDefinition<flexRaySignalDef_t>(instance);
    def.channel = 1;
    def.positions = std::move(positions);
    return def;
}

/// Static slot 10 of channel 1, received 18 nanoseconds after the epoch.
FlexRayExtTraceMessage frame(const Bytes& bytes, std::uint8_t cycle = 0) {
    return {18, 16, 1, bytes, 10, cycle, bytes};
}

std::vector<unsigned long> decode(const FlexRayExtTraceMessage& message) {
    return decodedIds<FlexRaySignal>(message);
}

class FlexRayTest : public SignalTest {
  protected:
    CapturedOutput output;
};

/// A client's class that counts what is written through its own operation.
struct CountingSignal : FlexRaySignal {
    using FlexRaySignal::FlexRaySignal;
    using FlexRaySignal::write;
    bool write(unsigned long payload, unsigned long timestamp) override {
        return FlexRaySignal::write(payload, timestamp) && ++writes != 0;
    }
    int writes = 0;
};

TEST_F(FlexRayTest, PositionsShareOneSlotAndOneIdentifier) {
    CountingSignal signal(definition("s", {position(0, 0, 64), position(8, 1, 64), position(16, 0, 64)}));
    EXPECT_THAT(decode(frame({1, 2, 3, 0}, 0)), ElementsAre(kind, kind)); // first and third position
    EXPECT_EQ(signal.slot->raw, 3U);
    EXPECT_EQ(signal.writes, 1) << "children are of the library's class";
    signal.children.clear();
    EXPECT_EQ(BaseSignal::getInstance("s"), nullptr) << "mirrors take their parent's entries along";
    EXPECT_THAT(decode(frame({1, 2}, 1)), IsEmpty());
}

TEST_F(FlexRayTest, DefinitionsThatAreRefusedOrFiledNowhere) {
    flexRaySignalDef_t def = definition("s", {position(4, 0, 0), position(12), position(5)});
    def.bits = 60;
    EXPECT_FALSE(FlexRaySignal::checkSignalDefinition(def)) << "9 bytes at the third position";
    EXPECT_TRUE(def.positions[0].repetition == 1 && def.positions[1].numBytes == 8);
    def.bits = 65;
    EXPECT_EQ(FlexRaySignal(def).id, ~0UL);
    FlexRaySignal nowhere(definition("nowhere", {}));
    EXPECT_THAT(FlexRaySignal::flexrayFrames, IsEmpty());
    FlexRaySignal::flexrayFrames[0x2000000000001501] = {&nowhere}; // as clients may
    EXPECT_THAT(decode(frame({1, 2})), IsEmpty());
}

/// A frame whose cycles share one list, until a client changes that of one cycle or takes it away.
TEST_F(FlexRayTest, ListsOfCyclesThatClientsChange) {
    FlexRaySignal first(definition("a", {position()}));
    auto second = std::make_unique<FlexRaySignal>(definition("b", {position(8)}));
    const auto keyOf = [](std::uint8_t cycle) { return flexray::frameKey(0, 1, 10, 16, cycle); };
    const auto decodeCycles = [] {
        std::vector<std::vector<unsigned long>> ids;
        for (std::uint8_t cycle = 0; cycle < 4; ++cycle) {
            ids.push_back(decode(frame({1, 2}, cycle)));
        }
        return ids;
    };
    const auto both = ElementsAre(kind, kind + 1);
    const auto one = ElementsAre(kind);
    auto& frames = FlexRaySignal::flexrayFrames;
    decodeCycles();
    EXPECT_THAT(decodeCycles(), ElementsAre(both, both, both, both));
    auto& listOfCycle1 = frames[keyOf(1)];
    EXPECT_THAT(decodeCycles(), ElementsAre(both, both, both, both));
    listOfCycle1.pop_back();
    EXPECT_THAT(decodeCycles(), ElementsAre(both, one, both, both));
    frames.erase(keyOf(2));
    EXPECT_THAT(decodeCycles(), ElementsAre(both, one, IsEmpty(), both));
    second.reset();
    EXPECT_THAT(decodeCycles(), ElementsAre(one, one, IsEmpty(), one));
    frames.clear();
    EXPECT_THAT(decodeCycles(), Each(IsEmpty()));
}

/// More PDUs than one pass over a frame looks for, some of them several times in a frame, in any order.
TEST_F(FlexRayTest, OfEqualPdusTheFirstOneCounts) {
    std::mt19937 random(17);
    const auto below = [&random](std::size_t limit) { return static_cast<std::uint8_t>(random() % limit); };
    for (const bool plain : {false, true}) {
        plainpaths::wanted = plain;
        std::vector<std::unique_ptr<FlexRaySignal>> signals;
        for (unsigned i = 0; i < 150; ++i) {
            flexRayPosition_t each = position();
            each.pduId = i * 7 % 150;
            signals.push_back(std::make_unique<FlexRaySignal>(definition(std::to_string(i), {each})));
        }
        for (int round = 0; round < 100; ++round) {
            Bytes payload;
            std::map<std::uint32_t, std::uint8_t> firstValues;
            for (unsigned left = below(40); left > 0; --left) {
                const auto pdu = round % 2 == 0 ? below(160) : static_cast<std::uint8_t>(2 * left);
                const std::uint8_t value = below(256);
                firstValues.emplace(pdu, value);
                payload.insert(payload.end(), {0, 0, pdu, 1, value});
            }
            payload.insert(payload.end(), 2, 0); // a PDU ends before the end
            const auto ids = decode(frame(payload));
            std::vector<unsigned long> expected;
            for (const auto& signal : signals) {
                const auto value = firstValues.find(*signal->definition.positions.front().pduId);
                if (value != firstValues.end()) {
                    expected.push_back(signal->id);
                    ASSERT_EQ(signal->slot->raw, value->second) << round;
                }
            }
            ASSERT_EQ(ids, expected) << round;
        }
    }
    plainpaths::wanted = false;
}

TEST_F(FlexRayTest, RecordsAreInUseByTheirBytes) {
    flexRaySignalDef_t def = definition("s", {position(0, 4, 64)});
    def.tslId = 3;
    Bytes record;
    encodeRecord(frame({1, 2}, 4), record);
    const auto inUse = [&](std::ptrdiff_t length, std::uint8_t tslId = 3) {
        return FlexRaySignal::signalsInUse(record.data(), record.data() + length, tslId);
    };
    EXPECT_FALSE(inUse(25)) << "no signals";
    const FlexRaySignal signal(def);
    BaseSignal::debug = 1;
    EXPECT_TRUE(inUse(25) && !inUse(24) && !inUse(25, 2));
    BaseSignal::debug = 0;
    EXPECT_EQ(output.take(), "[DEBUG] FlexRaySignal::signalsInUse() id = 200000000c401501 in use \n"
                             "[DEBUG] FlexRaySignal::signalsInUse() id = 2000000008401501 not in use\n");
    for (const std::size_t offset : {14U, 15U, 19U, 20U, 24U}) {
        record[offset] ^= 1;
        EXPECT_FALSE(inUse(25)) << offset;
        record[offset] ^= 1;
    }
    record[14] = 18;
    EXPECT_FALSE(inUse(25)) << "a kind of frame without signals";
}

TEST_F(FlexRayTest, TextFormsAndDebugLines) {
    flexRaySignalDef_t def = definition("s", {position(9, 1, 32), position(0, 1, 64)});
    def.positions[0].updateBit = 23;
    def.positions[1].type = false;
    def.positions[1].pduId = 300;
    const auto take = [&] {
        std::string own = output.take();
        for (std::size_t at = 0; (at = own.find("[DEBUG] BaseSignal", at)) != std::string::npos;)
            own.erase(at, own.find('\n', at) + 1 - at);
        return filled(own,
                      {{signalText("s"), "FRESH"},
                       {"timestamp=1970-01-01 00:00:00.000000018,frameKind=16,channel=1,slot=10", "HEAD"},
                       {",1" + std::string(32, ',') + "33" + std::string(30, ','), "1-AND-33"},
                       {",1" + std::string(62, ','), "1-ALONE"}});
    };
    BaseSignal::debug = 1;
    FlexRaySignal signal(def);
    EXPECT_EQ(
        take(),
        R"([DEBUG] FlexRaySignal::FlexRaySignal() s created ;FRESH;instance=s,signal=Signal,channel=1,unit=,type=unsigned,startbit=0,bits=8,scale=1,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0[startBit=9,type=static,slot=10,baseCycle=1,repetition=32,startByte=1,numBytes=2,updateBit=23,pduId=none,cycle=1-AND-33][startBit=0,type=dynamic,slot=10,baseCycle=1,repetition=64,startByte=0,numBytes=1,updateBit=none,pduId=300,cycle=1-ALONE];index=2000000000000000
[DEBUG] FlexRaySignal::FlexRaySignal() child s created FRESH;instance=s,signal=Signal,channel=1,unit=,type=unsigned,startbit=0,bits=8,scale=1,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0[startBit=0,type=dynamic,slot=10,baseCycle=1,repetition=64,startByte=0,numBytes=1,updateBit=none,pduId=300,cycle=1-ALONE];index=2000000000000000
)");
    decode(frame({0, 1, 44, 1, 5, 0}, 1));
    decode(frame({0, 1, 0x80, 0}, 1));
    decode(frame({}, 2));
    signal.definition.positions[0].updateBit.reset();
    decode(frame({}, 33));
    EXPECT_EQ(
        take(),
        R"([DEBUG] FlexRaySignal::decodeMessage() HEAD,cycle=1,data=00 01 2c 01 05 00,payload=00 01 2c 01 05 00
[DEBUG] FlexRaySignal::decodeMessage() Signal = s
[DEBUG] FlexRaySignal::decodeMessage() s: update bit not set
[DEBUG] FlexRaySignal::decodeMessage() Signal = s
[DEBUG] FlexRaySignal::decodeMessage() search for PDU 300
[DEBUG] FlexRaySignal::decodeMessage() pduPayload = 4
00 01 2c 01 05 00
[DEBUG] FlexRaySignal::decodeMessage() HEAD,cycle=1,data=00 01 80 00,payload=00 01 80 00
[DEBUG] FlexRaySignal::decodeMessage() Signal = s
00 01 80 00
[DEBUG] FlexRaySignal::decodeMessage() Signal = s
[DEBUG] FlexRaySignal::decodeMessage() search for PDU 300
[DEBUG] FlexRaySignal::decodeMessage() PDU of s not found
[DEBUG] FlexRaySignal::decodeMessage() id = 2000000000201501 not found
[DEBUG] FlexRaySignal::decodeMessage() HEAD,cycle=33,data=,payload=
[DEBUG] FlexRaySignal::decodeMessage() Signal = s
[DEBUG] FlexRaySignal::decodeMessage() s: payload to small
)");
}

} // namespace
