// The check of CAN FD definitions, what it makes of the signal, and the print forms.

#include "bus/CANTest.h"
#include "signal/BitModel.h"

#include <sstream>

class CANDefinition : public CANTest {
  protected:
    struct Range {
        int startByte;
        int numBytes;
        bool usable;
        bool operator==(const Range&) const = default;
        friend std::ostream& operator<<(std::ostream& out, const Range& range) {
            return out << range.startByte << '+' << range.numBytes << (range.usable ? "" : " refused");
        }
    };
    static Range check(canSignalDef_t def) {
        const bool usable = CANSignal::checkSignalDefinition(def);
        return {def.startByte, def.numBytes, usable};
    }
};

TEST_F(CANDefinition, ByteRangeIsThatOfTheBits) {
    forEveryField([](const BitModel& field) {
        const int count = field.lastByte - field.firstByte + 1;
        const Range expected{field.firstByte, count, field.bits <= 64 && count <= 8};
        EXPECT_EQ(check(fdSignal("S", {static_cast<std::uint16_t>(field.startbit),
                                       static_cast<std::uint8_t>(field.bits), field.bigEndian})),
                  expected)
            << field.startbit << ' ' << field.bits << ' ' << field.bigEndian;
        return !HasFailure();
    });
}

TEST_F(CANDefinition, NamedByteRanges) {
    const struct {
        const char* name;
        Field field;
        Range range;
    } rows[] = {
        {"TwoBytes", {100, 12}, {12, 2, true}},
        {"EightBytesBigEndian", {7, 64, true}, {0, 8, true}},
        {"NineBytes", {4, 64}, {0, 9, false}},
        {"TooWide", {0, 65}, {0, 9, false}},
        {"StartBytePastEightBits", {2056, 8}, {1, 1, true}},
        {"LastStartBit", {65535, 64, true}, {255, 8, true}},
        {"NoBits", {0, 0}, {0, 1, true}},
        {"NoBitsInsideAByte", {3, 0}, {0, 1, true}},
        {"NoBitsAtALaterByte", {8, 0}, {1, 0, true}},
        {"NoBitsBigEndian", {7, 0, true}, {0, 2, true}},
        {"NoBitsInsideAByteBigEndian", {3, 0, true}, {0, 1, true}},
        {"NoBitsAtALaterByteBigEndian", {15, 0, true}, {1, 0, true}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(check(fdSignal("S", row.field)), row.range) << row.name;
    }
}

TEST_F(CANDefinition, FdSignalWorksInsideItsByteRange) {
    const struct {
        const char* name;
        canSignalDef_t def;
        int startbit, lsbBit, startByte, bytes, shift;
        std::uint64_t maksBits, signBit, rawMask;
        int definitionStartByte, definitionNumBytes;
    } rows[] = {
        {"Little", fdSignal("S", {100, 12}), 4, 4, 0, 2, 4, 0xFFF, 0x800, 0xFFF0, 12, 2},
        {"Big", fdSignal("S", {106, 12, true}), 2, 23, 2, 3, 7, 0xFFF, 0x800, 0x80FF07, 13, 3},
        {"Classic", classicSignal("S", {28, 12}), 28, 28, 3, 2, 4, 0xFFF, 0x800, 0xFFF0000000, 0xCC, 0xDD},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        canSignalDef_t def = row.def;
        def.startByte = 0xCC;
        def.numBytes = 0xDD;
        const CANSignal signal(def);
        EXPECT_EQ(signal.def.startbit, row.startbit);
        EXPECT_EQ(signal.d_lsbBit, row.lsbBit);
        EXPECT_EQ(signal.d_startByte, row.startByte);
        EXPECT_EQ(signal.d_bytes, row.bytes);
        EXPECT_EQ(signal.d_shift, row.shift);
        EXPECT_EQ(signal.d_maksBits, row.maksBits);
        EXPECT_EQ(signal.d_signBit, row.signBit);
        EXPECT_EQ(signal.d_rawMask, row.rawMask);
        EXPECT_EQ(signal.definition.startbit, row.def.startbit);
        EXPECT_EQ(signal.definition.startByte, row.definitionStartByte);
        EXPECT_EQ(signal.definition.numBytes, row.definitionNumBytes);
    }
}

TEST_F(CANDefinition, PrintForm) {
    canSignalDef_t plain = classicSignal("Speed", {12, 10});
    plain.channel = 65;
    plain.unit = "km/h";
    plain.scale = 0.5;
    plain.offset = -40;
    plain.tslId = 66;
    plain.message = "Drive";
    plain.sender = "ECU";
    canSignalDef_t full = fdSignal("Gear", {511, 3, true, true}, 0xABCDEF);
    full.extended = true;
    full.multiplexed = true;
    full.mux = 300;
    full.startByte = 67;
    full.numBytes = 68;
    full.udn = "the gear";
    full.valueDescriptions = {{10, "ten"}, {2, "two"}};
    const struct {
        const char* name;
        canSignalDef_t def;
        const char* text;
    } rows[] = {
        {"Plain", plain,
         "instance=Speed,signal=Speed,channel=65,unit=km/h,type=unsigned,startbit=12,bits=10,scale=0.5,"
         "offset=-40,endian=LITTLE,multiplexed=no,mux=0,tslId=66,msgId=291,extended=no,canFD=no,"
         "message=Drive,sender=ECU,pduId=none,startByte=0,numBytes=0"},
        {"Full", full,
         "instance=Gear,signal=Gear,channel=0,unit=,type=signed,startbit=511,bits=3,scale=1,offset=0,"
         "endian=BIG,multiplexed=yes,mux=300,tslId=0,udn=the gear\n"
         "value description table\n"
         "2: two\n"
         "10: ten\n"
         ",msgId=291,extended=yes,canFD=yes,message=,sender=,pduId=11259375,startByte=67,numBytes=68"},
    };
    for (const auto& row : rows) {
        std::ostringstream out;
        out << std::hex << row.def;
        EXPECT_EQ(out.str(), row.text) << row.name;
    }
}

TEST_F(CANDefinition, SignalPrintFormLeavesTheStreamInHexadecimal) {
    BaseSignal::instanceCounter = 0x1F;
    CANSignal signal(fdSignal("Speed", {100, 12}, 16));
    signal.writeRaw(42, 1'500'000'000);
    signal.physical();
    std::ostringstream definition, text;
    definition << signal.definition;
    text << signal << ' ' << 255;
    EXPECT_EQ(text.str(), "instance=Speed,signal=Speed,shmem=false,valid=true,value=42 (0x2a),"
                          "timestamp=1970-01-01 00:00:01.500000000 (0x59682f00);" +
                              definition.str() + ";index=800000000000001f ff");
}
