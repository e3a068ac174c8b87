// What building, decoding and destroying a CAN signal tell at the debug levels, line for line.

#include "bus/CANTest.h"
#include "support/CapturedOutput.h"

#include <map>

namespace {

using Forms = std::map<std::string, std::string>;

/// Puts `forms` in for their names in braces and the level tag before every line but empty ones.
std::string debugLines(std::string text, const Forms& forms = {}) {
    for (const auto& [name, form] : forms) {
        const std::string mark = '{' + name + '}';
        for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos;) {
            text.replace(at, mark.size(), form);
        }
    }
    text.erase(0, 1); // the end of the line on which the raw string begins
    for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
        text.insert(at, text[at] == '\n' ? "" : "[DEBUG] ");
    }
    return text;
}

std::string definitionForm(const std::string& name, const std::string& place, const std::string& rest,
                           int startByte, int numBytes) {
    return "instance=" + name + ",signal=" + name + ",channel=0,unit=,type=unsigned," + place +
           ",scale=1,offset=0,endian=LITTLE," + rest +
           ",message=,sender=,pduId=none,startByte=" + std::to_string(startByte) +
           ",numBytes=" + std::to_string(numBytes);
}

std::string valueForm(const std::string& name, const std::string& value) {
    return "instance=" + name + ",signal=" + name + ",shmem=false," + value;
}

std::string freshForm(const std::string& name) {
    return valueForm(name, "valid=false,value=0 (0xaaaaaaaa),timestamp=1970-01-01 00:00:01.431655765 "
                           "(0x55555555)");
}

std::string writtenForm(const std::string& name, const std::string& value) {
    return valueForm(name, "valid=true,value=" + value + ",timestamp=1970-01-01 00:00:00.000000018 (0x12)");
}

} // namespace

class CANTranscript : public CANTest {
  protected:
    CapturedOutput captured;

    /// What one decoding tells.
    std::string decoded(const CANExtTraceMessage& message, int level, SignalStorage* storage = nullptr) {
        BaseSignal::debug = level;
        std::cout << std::hex; // a state that other code may have left
        decode(message, 0, storage);
        BaseSignal::debug = 0;
        EXPECT_TRUE(captured.out.isFlushed());
        EXPECT_EQ(captured.err.text(), "");
        return captured.out.take();
    }
};

TEST_F(CANTranscript, BuildingAndDestroying) {
    const std::string rest1 = "multiplexed=no,mux=0,tslId=0,msgId=291,extended=no,canFD=yes";
    const std::string rest2 = "multiplexed=yes,mux=300,tslId=0,msgId=291,extended=no,canFD=yes";
    const Forms forms = {
        {"nothing", ""},
        {"fresh 1", freshForm("First")},
        {"fresh 2", freshForm("Second")},
        {"as written", definitionForm("First", "startbit=100,bits=12", rest1, 0, 0)},
        {"1", freshForm("First") + ";" + definitionForm("First", "startbit=100,bits=12", rest1, 12, 2)},
        {"2", freshForm("Second") + ";" + definitionForm("Second", "startbit=8,bits=8", rest2, 1, 1)}};
    BaseSignal::debug = 1;
    auto plain = std::make_unique<CANSignal>(fdSignal("First", {100, 12}));
    EXPECT_EQ(captured.out.take(), debugLines(R"(
BaseSignal::cInit() First:d_lsbBit=100,d_startByte=12,d_bytes=2,d_shift=4,d_maksBits=fff,d_signBit=800,d_rawMask=0000000000000000
BaseSignal::BaseSignal() First created {nothing}
BaseSignal::BaseSignal() {fresh 1}
BaseSignal::cInit() First:d_lsbBit=4,d_startByte=0,d_bytes=2,d_shift=4,d_maksBits=fff,d_signBit=800,d_rawMask=000000000000fff0
CANSignal::CANSignal() canKey=8000000040000123
CANSignal::CANSignal() insert into canContainer: {as written}
CANSignal::CANSignal() canContainer:
CANSignal::CANSignal() 8000000040000123
CANSignal::CANSignal() [{1};index=8000000000000000,]

CANSignal::CANSignal() First created {1};index=8000000000000000
)",
                                              forms));
    canSignalDef_t branch = multiplexer(fdSignal("Second", {8, 8}));
    branch.multiplexed = true;
    branch.mux = 300;
    auto multiplexed = std::make_unique<CANSignal>(branch);
    EXPECT_EQ(captured.out.take(), debugLines(R"(
BaseSignal::cInit() Second:d_lsbBit=8,d_startByte=1,d_bytes=1,d_shift=0,d_maksBits=ff,d_signBit=80,d_rawMask=000000000000ff00
BaseSignal::BaseSignal() Second created {nothing}
BaseSignal::BaseSignal() {fresh 2}
BaseSignal::cInit() Second:d_lsbBit=0,d_startByte=0,d_bytes=1,d_shift=0,d_maksBits=ff,d_signBit=80,d_rawMask=00000000000000ff
CANSignal::CANSignal() canKey=8000000040000123
CANSignal::CANSignal() canContainer:
CANSignal::CANSignal() 8000000040000123
CANSignal::CANSignal() [{1};index=8000000000000000,{2};index=8000000000000001,]

CANSignal::CANSignal() Second created (multiplexer) (multiplexed, mux = 300) {2};index=8000000000000001
)",
                                              forms));
    plain.reset();
    multiplexed.reset();
    EXPECT_EQ(captured.out.take(), debugLines(R"(
BaseSignal::~BaseSignal() First deleted
BaseSignal::~BaseSignal() Second deleted
)"));
}

TEST_F(CANTranscript, ClassicFrameWithItsMultiplexer) {
    const CANSignal plain(classicSignal("Plain"));
    const CANSignal selector(multiplexer(classicSignal("Selector", {8, 8})));
    CANSignal branch(classicSignal("Branch", {16, 8}));
    move(branch, frameKey, frameKey + 12 * multiplexerStep);
    const auto message = frame({0x2A, 0x0B, 0xFF}, 0, 0x123, 0x12);
    EXPECT_EQ(decoded(*message, 1), debugLines(R"(
CANSignal::decodeMessage() 8000000000000123
CANSignal::decodeMessage() ctm.getChannel()=0
CANSignal::decodeMessage() ctm.getCanId()=123
CANSignal::decodeMessage() Signal = Plain, id = 0x8000000000000123
BaseSignal::decode() Plain: 2a-0b-ff-00-00-00-00-00
BaseSignal::decode() Plain: little endian, bits = 8, startbit = 0, maskBits = ff, signBit = 80, item = 000000000000002a
BaseSignal::write() {plain}
CANSignal::decodeMessage() Signal = Selector, id = 0x8000000000000123
BaseSignal::decode() Selector: 2a-0b-ff-00-00-00-00-00
BaseSignal::decode() Selector: little endian, bits = 8, startbit = 8, maskBits = ff, signBit = 80, item = 000000000000000b
BaseSignal::write() {selector}
BaseSignal::read() {selector}
CANSignal::decodeMessage() mux = 11, id = 0x80000c0000000123
CANSignal::decodeMessage() Multiplexed signal = Branch, id = 0x80000c0000000123
BaseSignal::decode() Branch: 2a-0b-ff-00-00-00-00-00
BaseSignal::decode() Branch: little endian, bits = 8, startbit = 16, maskBits = ff, signBit = 80, item = 00000000000000ff
BaseSignal::write() {branch}
)",
                                               {{"plain", writtenForm("Plain", "42 (0x2a)")},
                                                {"selector", writtenForm("Selector", "11 (0xb)")},
                                                {"branch", writtenForm("Branch", "255 (0xff)")}}));
    message->payload[1] = 10; // no such branch
    const std::string text = decoded(*message, 1);
    const std::string last = debugLines(R"(
BaseSignal::read() {selector}
CANSignal::decodeMessage() mux = 10, id = 0x80000b0000000123
CANSignal::decodeMessage() Selector: Multiplexed CAN message not in canMessageContainer: timestamp=1970-01-01 00:00:00.000000018,channel=0,frameFormat=0,length=3,canId=0x123,payload=2a 0a ff
)",
                                        {{"selector", writtenForm("Selector", "10 (0xa)")}});
    EXPECT_TRUE(text.ends_with(last)) << text;
    EXPECT_NE(text.find("BaseSignal::write() (no change) " + writtenForm("Plain", "42 (0x2a)") + "\n"),
              std::string::npos)
        << text;
}

TEST_F(CANTranscript, FdSignalsThatAreSkipped) {
    const CANSignal signals[] = {CANSignal(fdSignal("Short", {80, 8})),
                                 CANSignal(fdSignal("Absent", {0, 8}, 0x30)),
                                 CANSignal(fdSignal("ShortPdu", {8, 8}, 0x102030))};
    EXPECT_EQ(decoded(*fdFrame({0x10, 0x20, 0x30, 1, 7}), 1), debugLines(R"(
CANSignal::decodeMessage() 8000000040000123
CANSignal::decodeMessage() ctm.getChannel()=0
CANSignal::decodeMessage() ctm.getCanId()=123
CANSignal::decodeMessage() Signal = Short, id = 0x8000000040000123
CANSignal::decodeMessage() Short: payload to small
CANSignal::decodeMessage() Signal = Absent, id = 0x8000000040000123
CANSignal::decodeMessage() Absent not found
CANSignal::decodeMessage() Signal = ShortPdu, id = 0x8000000040000123
CANSignal::decodeMessage() ShortPdu: payload to small
)"));
}

TEST_F(CANTranscript, FramesThatNobodyDecodes) {
    SignalStorage empty;
    const auto message = frame({1, 0xAB}, CANExtTraceMessage::Extended, 0x123, 0x12);
    message->channel = 16;
    const CANSignal signal(classicSignal("S"));
    const std::string search = debugLines(R"(
CANSignal::decodeMessage() 8000001080000123
CANSignal::decodeMessage() ctm.getChannel()=16
CANSignal::decodeMessage() ctm.getCanId()=123
)");
    EXPECT_EQ(decoded(*message, 0), "");
    EXPECT_EQ(decoded(*message, 2, &empty), "[DEBUG] CANSignal::decodeMessage() CANContainer is empty\n");
    EXPECT_EQ(decoded(*message, 1), search);
    CANSignal::canContainer[1];
    const std::string definition = definitionForm(
        "S", "startbit=0,bits=8", "multiplexed=no,mux=0,tslId=0,msgId=291,extended=no,canFD=no", 0, 0);
    EXPECT_EQ(decoded(*message, 2),
              search + debugLines(R"(
CANSignal::decodeMessage() 1
CANSignal::decodeMessage() []

CANSignal::decodeMessage() 8000000000000123
CANSignal::decodeMessage() [{value};{definition};index=8000000000000000,]

CANSignal::decodeMessage() CAN message not in canMessageContainer: timestamp=1970-01-01 00:00:00.000000018,channel=16,frameFormat=1,length=2,canId=0x123,payload=01 ab, id = 8000001080000123
)",
                                  {{"value", freshForm("S")}, {"definition", definition}}));
    CANSignal::canContainer[0x8000001080000123]; // filed, but empty: nothing more to tell
    EXPECT_EQ(decoded(*message, 1), search);
}
