/// \file
/// FlexRay signals: where they are filed, what frames and records reach them, and their texts.
#include "bus/FlexRaySignal.h"
#include "rktrace/TraceRecord.h"
#include "signal/BitModel.h"
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <gmock/gmock.h>

#include <list>
#include <random>

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
    void TearDown() override {
        SignalTest::TearDown();
        EXPECT_TRUE(FlexRaySignal::flexrayFrames.empty());
        EXPECT_TRUE(BaseSignal::defSignalStorage.flexRaySignals.empty());
    }
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

/// A slow model: what a received frame holds for a position, bit by bit.
struct Model {
    const FlexRayExtTraceMessage& message;

    /// Where the data of the PDU begin, or a place past every frame.
    int findPdu(std::uint32_t pduId) const {
        const Bytes& bytes = message.payload;
        for (std::size_t at = 0; at + 4 <= bytes.size() && bytes[at + 3] != 0; at += 4U + bytes[at + 3])
            if (at + 4 + bytes[at + 3] >= message.data.size() % 256)
                break;
            else if (bytes[at] * 0x10000U + bytes[at + 1] * 0x100U + bytes[at + 2] == pduId)
                return static_cast<int>(at + 4);
        return 1'000'000;
    }

    std::optional<std::uint64_t> value(const flexRaySignalDef_t& def,
                                       const flexRayPosition_t& position) const {
        const flexRayPosition_t& first = def.positions[0]; // whose slot and segment count
        const int cycles = message.cycle - position.baseCycle;
        const bool received = first.slot == message.slot && first.type == (message.frameKind == 16) &&
                              cycles >= 0 && cycles % std::max<int>(position.repetition, 1) == 0;
        const bool fresh = position.pduId || !position.updateBit ||
                           fieldValue(message.payload, {*position.updateBit}, 0, false) == 1;
        const std::vector<int> bits = fieldBits(position.startBit, def.bits, def.endian);
        const int moved = position.pduId ? findPdu(*position.pduId) : 0;
        const int last = moved + std::max(bits.front(), bits.back()) / 8;
        const std::size_t length = std::min(message.data.size() % 512 / 2 * 2, message.payload.size());
        if (!received || !fresh || last >= static_cast<int>(length))
            return std::nullopt;
        return fieldValue(message.payload, bits, moved, def.type == signalValue_t::Signed);
    }
};

/// Definitions and frames of two slots of either segment.
class Random {
  public:
    template <class Number = std::uint8_t>
    Number below(std::size_t limit) {
        return static_cast<Number>(generator() % limit);
    }

    flexRaySignalDef_t definitionNamed(const std::string& instance) {
        flexRaySignalDef_t def = definition(instance, std::vector(1 + below(3), position()));
        def.bits = static_cast<std::uint8_t>(1 + below(57)); // at most 8 bytes anywhere
        def.endian = below(2) == 0;
        def.type = static_cast<signalValue_t>(below(4));
        for (flexRayPosition_t& each : def.positions) {
            each = position(below<std::uint16_t>(300), below(below(8) == 0 ? 256 : 4),
                            below(below(8) == 0 ? 256 : 5));
            each.type = below(2) == 0;
            each.slot = below(2);
            if (below(3) == 0)
                each.updateBit = below<std::uint16_t>(400);
            if (below(2) == 0)
                each.pduId = below(4) + (below(8) == 0 ? 0x1000000U : 0); // which is too long
        }
        return def;
    }

    FlexRayExtTraceMessage frame() {
        FlexRayExtTraceMessage message{
            below<std::uint64_t>(~0UL), below(2), 1, Bytes(below(80)), below(2), below(6), {}};
        message.frameKind |= 16;
        message.payload.resize(message.data.size()); // without spare capacity
        for (std::uint8_t& byte : message.payload)
            byte = below(256);
        for (std::size_t at = 0; below(12) != 0 && at + 4 <= message.payload.size();) {
            std::fill_n(&message.payload[at], 2, std::uint8_t{0});
            message.payload[at + 2] = below(5);
            at += 4U + (message.payload[at + 3] %= 20);
        }
        if (below(4) == 0)
            message.data.resize(below<std::size_t>(600));
        return message;
    }

  private:
    std::mt19937_64 generator{1};
};

/// A signal of the library, and what the model knows of it.
struct Twin {
    explicit Twin(const flexRaySignalDef_t& def) : real(def) {}

    void decode(const FlexRayExtTraceMessage& message, std::vector<unsigned long>& ids) {
        for (const flexRayPosition_t& each : real.definition.positions)
            if (const auto value = Model{message}.value(real.definition, each)) {
                raw = *value;
                timestamp = message.timestamp;
                ids.push_back(real.id);
            }
    }

    FlexRaySignal real;
    std::uint64_t raw = 0xAAAAAAAA, timestamp = 0x55555555;
};

TEST_F(FlexRayTest, EveryIdentifierAndSlotAsByTheModel) {
    Random random;
    std::size_t values = 0;
    for (int round = 0; round < 2000 && !HasFailure(); ++round) {
        BaseSignal::debug = round % 50 == 7 ? 1 : 0;
        std::list<Twin> twins;
        for (int count = random.below(8); count >= 0; --count)
            twins.emplace_back(random.definitionNamed(std::to_string(count)));
        for (int count = 0; count < 10; ++count) {
            const FlexRayExtTraceMessage message = random.frame();
            std::vector<unsigned long> expected;
            for (Twin& twin : twins)
                twin.decode(message, expected);
            EXPECT_EQ(decode(message), expected) << message;
            for (const Twin& twin : twins)
                EXPECT_TRUE(twin.real.slot->raw == twin.raw && twin.real.slot->timestamp == twin.timestamp)
                    << twin.real << '\n'
                    << message;
            values += expected.size();
        }
        twins.clear();
        BaseSignal::debug = 0;
        output.take();
    }
    EXPECT_GT(values, 5'000U);
}

} // namespace
