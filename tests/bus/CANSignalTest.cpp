/// \file
/// What building, decoding and destroying CAN signals do to the tables and tell at the debug levels.
#include "bus/CANKey.h"
#include "bus/CANTest.h"

namespace {

// Terms are added: what does not fit into its field carries into the next one.
static_assert(can::frameKey(0, 2, 0x123, false, false) == 0x8000000200000123);
static_assert(can::frameKey(0, 2, 0x123, true, false) == 0x8000000280000123);
static_assert(can::frameKey(127, 2, 0x123, false, true) == 0xFF00000240000123);
static_assert(can::frameKey(128, 3, 0x123, true, true) == 0x00000003C0000123);
static_assert(can::frameKey(0, 4, 0x40000123, false, true) == 0x8000000480000123);
static_assert(can::frameKey(255, 255, 0xFFFFFFFF, true, true) == 0x7F000100BFFFFFFF);

TEST_F(CANTest, StoragesShareTheFramesOfTheProcess) {
    SignalStorage own, empty;
    const CANSignal inDefault(classicSignal("S"));
    auto inOwn = std::make_unique<CANSignal>(classicSignal("S"), false, &own);
    EXPECT_THAT(own.canSignals, ElementsAre(Pair(0x8000000000000001, ElementsAre(inOwn.get()))));
    EXPECT_EQ(BaseSignal::getInstance(0x8000000000000001, &own), inOwn.get());
    EXPECT_THAT(decode(*frame({5}), 0, &own), ElementsAre(inDefault.id, inOwn->id));
    EXPECT_THAT(decode(*frame({5}, /*an unknown format=*/5)), ElementsAre(inDefault.id, inOwn->id));
    EXPECT_THAT(decode(*frame({5}), 0, &empty), IsEmpty());
    // What clients have placed goes too, and so do empty entries.
    CANSignal::canContainer[1] = {inOwn.get(), inOwn.get()};
    CANSignal::canContainer[2] = {};
    inOwn.reset();
    EXPECT_THAT(CANSignal::canContainer, ElementsAre(Pair(0x8000000000000123, ElementsAre(&inDefault))));
    EXPECT_THAT(own.canSignals, IsEmpty());
}

TEST_F(CANTest, RecordsOfFramesInUse) {
    canSignalDef_t def = fdSignal("S");
    def.channel = 16;
    def.extended = true;
    const CANSignal signal(def);
    std::uint8_t record[22] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 16, 0, 0, 0, 0xC0, 0, 1, 0x23};
    BaseSignal::debug = 1;
    EXPECT_TRUE(CANSignal::signalsInUse(record, nullptr, 0));
    EXPECT_FALSE(CANSignal::signalsInUse(record, nullptr, 72));
    record[18] = 0x40;
    EXPECT_FALSE(CANSignal::signalsInUse(record, nullptr, 0));
    SignalStorage empty;
    EXPECT_FALSE(CANSignal::signalsInUse(record, nullptr, 0, &empty));
    BaseSignal::debug = 0;
    EXPECT_EQ(output.take(), R"([DEBUG] CANSignal::signalsInUse() found: channel 16, msgId 0xc0000123
[DEBUG] CANSignal::signalsInUse() not found: channel 16, msgId 0xc0000123
[DEBUG] CANSignal::signalsInUse() not found: channel 16, msgId 0x40000123
)");
}

TEST_F(CANTest, TextFormsAndDebugLines) {
    canSignalDef_t def = fdSignal("Branch", {15, 12, true, true}, 0xABCDEF);
    def.multiplexer = 1; // which selects nothing, as it is selected itself
    def.multiplexed = def.extended = true;
    def.mux = 300;
    def.channel = 65;
    def.unit = "1/min °";
    def.scale = 0.5;
    def.offset = -40;
    def.message = "Drive";
    def.sender = "ECU";
    def.udn = "n_mot";
    def.tslId = 66;
    def.valueDescriptions = {{10, "ten"}, {2, "two"}};
    const auto take = [&] {
        BaseSignal::debug = 0;
        return filled(
            output.take(),
            {{signalText("Branch"), "FRESH"},
             {R"(instance=Branch,signal=Signal,channel=65,unit=1/min °,type=signed,startbit=15,bits=12,scale=0.5,offset=-40,endian=BIG,multiplexed=yes,mux=300,tslId=66,udn=n_mot
value description table
2: two
10: ten
,msgId=291,extended=yes,canFD=yes,message=Drive,sender=ECU,pduId=11259375)",
              "DEFINITION"}});
    };
    BaseSignal::debug = 1;
    CANSignal branch(def);
    EXPECT_EQ(
        take(),
        R"([DEBUG] BaseSignal::cInit() Branch:d_lsbBit=20,d_startByte=2,d_bytes=2,d_shift=4,d_maksBits=fff,d_signBit=800,d_rawMask=0000000000f0ff00
[DEBUG] BaseSignal::BaseSignal() Branch created 
[DEBUG] BaseSignal::BaseSignal() FRESH
[DEBUG] BaseSignal::cInit() Branch:d_lsbBit=12,d_startByte=1,d_bytes=2,d_shift=4,d_maksBits=fff,d_signBit=800,d_rawMask=000000000000f0ff
[DEBUG] CANSignal::CANSignal() canKey=c2000041c0000123
[DEBUG] CANSignal::CANSignal() insert into canContainer: DEFINITION,startByte=0,numBytes=0
[DEBUG] CANSignal::CANSignal() canContainer:
[DEBUG] CANSignal::CANSignal() c2000041c0000123
[DEBUG] CANSignal::CANSignal() [FRESH;DEFINITION,startByte=1,numBytes=2;index=8000000000000000,]

[DEBUG] CANSignal::CANSignal() Branch created (multiplexer) (multiplexed, mux = 300) FRESH;DEFINITION,startByte=1,numBytes=2;index=8000000000000000
)");
    EXPECT_EQ(branch.getUnit() + branch.getValueDescription(2) + branch.getValueDescription(3), "1/min °two");
    EXPECT_EQ(branch.getType(), signalValue_t::Signed);
    EXPECT_EQ(branch.getBits() + branch.getScaleFactor() + branch.getOffset(), 12 + 0.5 - 40);

    CANSignal selector(classicSignal("Selector", {7, 12, true}, 1)), tooShort(fdSignal("Short", {80, 8})),
        absent(fdSignal("Absent", {}, 0x30));
    CANSignal::canContainer.clear();
    CANSignal::canContainer[frameKey] = {&selector, &tooShort, &absent};
    CANSignal::canContainer[0x80000C0000000123] = {&branch};
    const auto message = frame({0, 0xBF, 0xFF});
    BaseSignal::debug = 1;
    EXPECT_THAT(decode(*message), ElementsAre(selector.id));
    EXPECT_EQ(take(), R"([DEBUG] CANSignal::decodeMessage() 8000000000000123
[DEBUG] CANSignal::decodeMessage() ctm.getChannel()=0
[DEBUG] CANSignal::decodeMessage() ctm.getCanId()=123
[DEBUG] CANSignal::decodeMessage() Signal = Selector, id = 0x8000000000000123
[DEBUG] BaseSignal::decode() Selector: 00-bf-ff-00-00-00-00-00
[DEBUG] BaseSignal::decode() Selector: big endian, bits = 12, startbit = 7, maskBits = fff, signBit = 800, item = 000000000000000b
[DEBUG] BaseSignal::write() instance=Selector,signal=Signal,shmem=false,valid=true,value=11 (0xb),timestamp=1970-01-01 00:00:00.000000018 (0x12)
[DEBUG] BaseSignal::read() instance=Selector,signal=Signal,shmem=false,valid=true,value=11 (0xb),timestamp=1970-01-01 00:00:00.000000018 (0x12)
[DEBUG] CANSignal::decodeMessage() mux = 11, id = 0x80000c0000000123
[DEBUG] CANSignal::decodeMessage() Multiplexed signal = Branch, id = 0x80000c0000000123
[DEBUG] BaseSignal::decode() Branch: bf-ff-00-00-00-00-00-00
[DEBUG] BaseSignal::decode() Branch: big endian, bits = 12, startbit = 7, maskBits = fff, signBit = 800, item = fffffffffffffbff
[DEBUG] BaseSignal::write() instance=Branch,signal=Signal,shmem=false,valid=true,value=-552.5 (0xfffffffffffffbff),timestamp=1970-01-01 00:00:00.000000018 (0x12)
[DEBUG] CANSignal::decodeMessage() Signal = Short, id = 0x80000c0000000123
[DEBUG] CANSignal::decodeMessage() Short: payload to small
[DEBUG] CANSignal::decodeMessage() Signal = Absent, id = 0x80000c0000000123
[DEBUG] CANSignal::decodeMessage() Absent not found
)");
    CANSignal::canContainer.clear();
    CANSignal::canContainer[frameKey] = {&selector};
    SignalStorage empty;
    BaseSignal::debug = 2;
    decode(*message);
    CANSignal::canContainer[frameKey].clear();
    message->canId = 0x124;
    decode(*message);
    decode(*message, 0, &empty);
    EXPECT_THAT(take(), testing::EndsWith(R"(
[DEBUG] CANSignal::decodeMessage() Selector: Multiplexed CAN message not in canMessageContainer: timestamp=1970-01-01 00:00:00.000000018,channel=0,frameFormat=0,length=3,canId=0x123,payload=00 bf ff
[DEBUG] CANSignal::decodeMessage() 8000000000000124
[DEBUG] CANSignal::decodeMessage() ctm.getChannel()=0
[DEBUG] CANSignal::decodeMessage() ctm.getCanId()=124
[DEBUG] CANSignal::decodeMessage() 8000000000000123
[DEBUG] CANSignal::decodeMessage() []

[DEBUG] CANSignal::decodeMessage() CAN message not in canMessageContainer: timestamp=1970-01-01 00:00:00.000000018,channel=0,frameFormat=0,length=3,canId=0x124,payload=00 bf ff, id = 8000000000000124
[DEBUG] CANSignal::decodeMessage() CANContainer is empty
)"));
}

TEST_F(CANTest, FiledUnderItsMultiplexerValueItIsDecodedWithThatValueOnly) {
    CANSignal selector(classicSignal("Selector", {0, 8}, 1));
    canSignalDef_t definition = classicSignal("Branch", {8, 8});
    definition.multiplexed = true;
    definition.mux = 3;
    CANSignal branch(definition);
    EXPECT_THAT(decode(*frame({4, 9})), ElementsAre(selector.id, branch.id)) << "before";
    branch.fileUnderMultiplexer();
    branch.fileUnderMultiplexer();
    EXPECT_THAT(decode(*frame({4, 9})), ElementsAre(selector.id));
    EXPECT_THAT(decode(*frame({3, 9})), ElementsAre(selector.id, branch.id));
    canSignalDef_t refused = fdSignal("Refused", {4, 64});
    CANSignal(refused).fileUnderMultiplexer();
    EXPECT_EQ(CANSignal::canContainer.size(), 2U);
}

} // namespace
