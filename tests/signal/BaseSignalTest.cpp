/// \file
/// Private signals: cutting out, scaling, writing and reading of values, registry and mirrors.
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <bit>
#include <functional>

namespace {

using SignalValue = SignalTest;
using SignalRegistry = SignalTest;
using enum signalValue_t;

/// The values are left to the models of the buses.
TEST_F(SignalValue, BitsThatCountAreThoseOfTheMask) {
    BaseSignal signal(byteDefinition("S"));
    for (const bool bigEndian : {false, true})
        for (std::uint16_t startbit = 0; startbit < 530; ++startbit)
            for (std::uint8_t bits = 1; bits < 80; ++bits) {
                signal.def.startbit = startbit;
                signal.def.bits = bits;
                signal.def.endian = bigEndian;
                signal.cInit();
                EXPECT_EQ(signal.decode(~signal.d_rawMask), 0U) << signal.def;
                EXPECT_EQ(std::popcount(signal.decode(~0UL)), std::popcount(signal.d_rawMask)) << signal.def;
            }
}

TEST_F(SignalValue, PhysicalValueOfEachType) {
    const std::tuple<signalValue_t, std::uint64_t, double> rows[] = {
        {Unsigned, 0x8000000000000000, 92233720368547758080.0},
        {Signed, ~0UL, -9},
        {Float, 0xFFFFFFFFC0000000, -19}, // the upper half does not count
        {Double, 0x3FF8000000000000, 16},
        {signalValue_t{4}, 42, 16}, // keeps the value
    };
    BaseSignal signal(byteDefinition("S"));
    signal.def.scale = 10;
    signal.def.offset = 1;
    for (const auto& [type, raw, value] : rows) {
        signal.def.type = type;
        signal.slot->raw = raw;
        EXPECT_EQ(signal.physical(), value) << raw;
    }
}

/// One operation after another on one signal of 32 bits from bit 4, with scale 0.5.
TEST_F(SignalValue, WritingReadingAndTheirDebugLines) {
    baseSignalDef_t definition = byteDefinition("S");
    definition.startbit = 4;
    definition.bits = 32;
    definition.scale = 0.5;
    SignalStorage other;
    BaseSignal signal(definition);
    definition.signal = std::string(40, 'n');
    EXPECT_EQ(std::string(BaseSignal(definition, false, &other).slot->name), std::string(31, 'n'));
    // On the heap, so that an address sanitizer sees every access past the bytes.
    const std::vector<unsigned char> two{0xA0, 2}, ten{0x10, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    const struct {
        std::function<void()> operation;
        bool modified;
        std::string line, state; ///< head of the debug line, and the signal's text
    } rows[] = {
        {[&] { signal.write(0xAAAAAAAAAA0UL, 1UL); }, false, "write() (no change) ",
         "valid=true,value=1.43166e+09 (0xaaaaaaaa),timestamp=1970-01-01 00:00:00.000000001 (0x1)"},
        {[&] { signal.write(two.data(), 2, 17); }, true, "write() ",
         "valid=true,value=21 (0x2a),timestamp=1970-01-01 00:00:00.000000017 (0x11)"},
        {[&] { signal.writeTS(951'827'696'000'000'789); }, true, "",
         "valid=true,value=21 (0x2a),timestamp=2000-02-29 12:34:56.000000789 (0xd35923f1b756315)"},
        {[&] { signal.write(ten.data(), 10, 0); }, true, "write() ",
         "valid=true,value=0.5 (0x1),timestamp=1970-01-01 00:00:00.000000000 (0x0)"},
        {[&] { signal.writeRaw(~0UL, 18); }, true, "writeRaw() ",
         "valid=true,value=9.22337e+18 (0xffffffffffffffff),timestamp=1970-01-01 00:00:00.000000018 (0x12)"},
        {[&] { signal.clear(); }, true, "",
         "valid=false,value=0 (0x0),timestamp=1970-01-01 00:00:00.000000000 (0x0)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.state);
        CapturedOutput output;
        BaseSignal::debug = 1;
        row.operation();
        std::string text = output.take();
        text.erase(0, text.find("[DEBUG] BaseSignal::write")); // the lines of decoding
        const std::string shown = signalText("S", row.state) + "\n";
        EXPECT_EQ(text, row.line.empty() ? "" : "[DEBUG] BaseSignal::" + row.line + shown);
        unsigned long raw = 0, timestamp = 0;
        double value = 0;
        EXPECT_EQ(signal.read(raw, timestamp), signal.read(value, timestamp));
        EXPECT_EQ(std::tie(raw, value, timestamp),
                  std::tie(signal.slot->raw, signal.value, signal.slot->timestamp));
        EXPECT_TRUE(output.out.isFlushed());
        EXPECT_EQ(output.take(),
                  "[DEBUG] BaseSignal::read() " + shown + "[DEBUG] BaseSignal::read() " + shown);
        EXPECT_EQ(signal.isModified(), row.modified);
        BaseSignal::debug = 0;
    }
}

TEST_F(SignalRegistry, EarlierSignalKeepsItsNameAndRemovalGoesByNameAndIdentifier) {
    SignalStorage other;
    BaseSignal inDefault(byteDefinition("A")), first(byteDefinition("A"), false, &other);
    first.id = 6;
    other.instancesById[6] = &first;
    CapturedOutput output;
    {
        const BaseSignal second(byteDefinition("A"), false, &other);
        EXPECT_EQ(output.take(), "[ERROR] BaseSignal::BaseSignal() A already exists\n");
        BaseSignal::debug = 1;
        const BaseSignal mirror(&first), orphan(static_cast<BaseSignal*>(nullptr));
        EXPECT_EQ(mirror.slot, &first.privateSlot);
        EXPECT_EQ(BaseSignal::getInstance("A", &other), &first);
        EXPECT_EQ(BaseSignal::getInstance(6UL, &other), &first);
    }
    BaseSignal::debug = 0;
    const std::string shown = "[DEBUG] BaseSignal::BaseSignal() " + signalText("A") + "\n";
    EXPECT_EQ(output.take(), "[DEBUG] BaseSignal::BaseSignal() child A created \n" + shown +
                                 "[ERROR] BaseSignal::BaseSignal() no parent\n"
                                 "[DEBUG] BaseSignal::~BaseSignal()  deleted\n"
                                 "[DEBUG] BaseSignal::~BaseSignal() A deleted\n"
                                 "[DEBUG] BaseSignal::~BaseSignal() A deleted\n");
    EXPECT_EQ(BaseSignal::getInstance("A", &other), nullptr);
    EXPECT_EQ(BaseSignal::getInstance(6UL, &other), nullptr);
    EXPECT_EQ(BaseSignal::getAllInstances(), (std::map<std::string, BaseSignal*>{{"A", &inDefault}}));
}

} // namespace
