/// \file
/// Derived fields, decoding and scaling of signals.
#include "signal/BitModel.h"
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>

namespace {

using SignalCodec = SignalTest;
using enum signalValue_t;

constexpr std::uint64_t allOnes = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t topBit = 0x8000000000000000;

/// A definition named "S" of the given field.
baseSignalDef_t field(int startbit, int bits, bool bigEndian, signalValue_t type = Unsigned) {
    baseSignalDef_t definition = byteDefinition("S");
    definition.startbit = static_cast<std::uint16_t>(startbit);
    definition.bits = static_cast<std::uint8_t>(bits);
    definition.endian = bigEndian;
    definition.type = type;
    return definition;
}

TEST_F(SignalCodec, WorkedExamplesAndTheirDebugLines) {
    const struct {
        baseSignalDef_t definition;
        std::uint64_t payload, raw;
        const char *derived, *bytes, *item;
    } rows[] = {
        {field(12, 10, false), 0xFE0000003CA50F, 0x3CA,
         "d_lsbBit=12,d_startByte=1,d_bytes=2,d_shift=4,d_maksBits=3ff,d_signBit=200,d_rawMask="
         "00000000003ff000",
         "0f-a5-3c-00-00-00-fe-00", "little endian, bits = 10, startbit = 12, maskBits = 3ff, signBit = 200"},
        {field(7, 16, true), 0x3412, 0x1234,
         "d_lsbBit=8,d_startByte=1,d_bytes=2,d_shift=0,d_maksBits=ffff,d_signBit=8000,d_rawMask="
         "000000000000ffff",
         "12-34-00-00-00-00-00-00", "big endian, bits = 16, startbit = 7, maskBits = ffff, signBit = 8000"},
        {field(0, 8, false, Signed), 0xFE, allOnes - 1,
         "d_lsbBit=0,d_startByte=0,d_bytes=1,d_shift=0,d_maksBits=ff,d_signBit=80,d_rawMask=00000000000000ff",
         "fe-00-00-00-00-00-00-00", "little endian, bits = 8, startbit = 0, maskBits = ff, signBit = 80"},
        {field(7, 64, true), 0x0102030405060708, 0x0807060504030201,
         "d_lsbBit=56,d_startByte=7,d_bytes=8,d_shift=0,d_maksBits=ffffffffffffffff,d_signBit="
         "8000000000000000,"
         "d_rawMask=ffffffffffffffff",
         "08-07-06-05-04-03-02-01",
         "big endian, bits = 64, startbit = 7, maskBits = ffffffffffffffff, signBit = 8000000000000000"},
        {field(16, 0, false, Signed), allOnes, 0,
         "d_lsbBit=16,d_startByte=2,d_bytes=0,d_shift=0,d_maksBits=0,d_signBit=8000000000000000,"
         "d_rawMask=0000000000000000",
         "ff-ff-ff-ff-ff-ff-ff-ff",
         "little endian, bits = 0, startbit = 16, maskBits = 0, signBit = 8000000000000000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.derived);
        BaseSignal signal(row.definition);
        CapturedOutput output;
        BaseSignal::debug = 1;
        std::cout << std::hex;
        signal.cInit();
        EXPECT_EQ(output.out.take(), std::string("[DEBUG] BaseSignal::cInit() S:") + row.derived + "\n");
        EXPECT_EQ(std::cout.flags() & std::ios_base::basefield, std::ios_base::dec);
        EXPECT_EQ(std::cout.fill(), ' ');
        EXPECT_EQ(signal.decode(row.payload), row.raw);
        EXPECT_EQ(signal.slot->raw, row.raw);
        std::ostringstream raw;
        raw << std::hex << std::setfill('0') << std::setw(16) << row.raw;
        const std::string head = "[DEBUG] BaseSignal::decode() S: ";
        EXPECT_EQ(output.out.text(),
                  head + row.bytes + "\n" + head + row.item + ", item = " + raw.str() + "\n");
        EXPECT_TRUE(output.out.isFlushed());
        BaseSignal::debug = 0;
    }
}

TEST_F(SignalCodec, EveryFieldAsTheModel) {
    BaseSignal signal(byteDefinition("S"));
    forEveryField([&signal](const BitModel& model) {
        SCOPED_TRACE(testing::Message() << model.startbit << "|" << model.bits << "@" << model.bigEndian);
        signal.def = field(model.startbit, model.bits, model.bigEndian);
        signal.cInit();
        EXPECT_EQ(signal.d_lsbBit, model.lsb % 256);
        EXPECT_EQ(signal.d_startByte, model.lsb % 256 / 8);
        EXPECT_EQ(signal.d_bytes, (model.lsb % 8 + model.bits + 7) / 8);
        EXPECT_EQ(signal.d_shift, model.lsb % 8);
        EXPECT_EQ(signal.d_maksBits, model.ones());
        EXPECT_EQ(signal.d_signBit, model.sign());
        EXPECT_EQ(signal.d_rawMask, model.inPlace());
        for (const signalValue_t type : {Unsigned, Signed, Float, Double, signalValue_t{7}}) {
            signal.def.type = type;
            for (const std::uint64_t payload : payloads) {
                EXPECT_EQ(signal.decode(payload), model.extracted(payload, type == Signed));
                EXPECT_EQ(signal.slot->raw, model.extracted(payload, type == Signed));
            }
        }
        return !HasFailure();
    });
    EXPECT_EQ(signal.slot->valid, 0) << "decode writes the raw value alone";
    EXPECT_EQ(signal.slot->timestamp, 0x55555555U);
    EXPECT_FALSE(signal.modified);
    EXPECT_EQ(signal.value, 0.0);
}

TEST_F(SignalCodec, PhysicalValue) {
    const struct {
        const char* name;
        signalValue_t type;
        std::uint64_t raw;
        double scale, offset, value;
    } rows[] = {
        {"unsigned", Unsigned, 42, 0.5, -40, -19},
        {"largest unsigned", Unsigned, allOnes, 1, 0, 18446744073709551616.0},
        {"above the signed range", Unsigned, topBit, 1, 0, 9223372036854775808.0},
        {"minus one", Signed, allOnes, 2, 1, -1},
        {"smallest signed", Signed, topBit, 1, 0, -9223372036854775808.0},
        {"largest signed", Signed, topBit - 1, 1, 0, 9223372036854775808.0},
        {"float", Float, 0x40490FDB, 1, 0, 3.1415927410125732},
        {"float ignores the upper half", Float, 0xFFFFFFFFC0000000, 10, 1, -19},
        {"infinite float", Float, 0x7F800000, -1, 5, -std::numeric_limits<double>::infinity()},
        {"double", Double, 0x400921FB54442D18, 2, 0.5, 2 * 3.141592653589793 + 0.5},
        {"unknown type keeps the value", signalValue_t{4}, 42, 0.5, -40, 123},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        baseSignalDef_t definition = field(0, 64, false, row.type);
        definition.scale = row.scale;
        definition.offset = row.offset;
        BaseSignal signal(definition);
        signal.value = 123;
        signal.slot->raw = row.raw;
        EXPECT_EQ(signal.physical(), row.value);
        EXPECT_EQ(signal.value, row.value);
        double value = 0;
        unsigned long timestamp = 0;
        signal.read(value, timestamp);
        EXPECT_EQ(value, row.value);
    }
    BaseSignal notANumber(field(0, 32, false, Float));
    notANumber.slot->raw = 0x7FC00000;
    EXPECT_TRUE(std::isnan(notANumber.physical()));
}

} // namespace
