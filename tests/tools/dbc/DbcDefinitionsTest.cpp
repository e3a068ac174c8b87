/// \file
/// Messages and signals as their own lines define them.
#include "tools/dbc/DbcText.h"

#include <gtest/gtest.h>

#include <limits>

namespace rksignal {
namespace {

using Names = std::vector<std::string>;

TEST(DbcMessages, IdentifierLengthAndSender) {
    const DbcFile file = parse("VERSION \"\"\n"
                               "NS_ :\n\tNS_DESC_\n\tCM_\n\tBA_DEF_\n\nBS_:\n\nBU_: ECU1\n ECU2\n\n"
                               "BO_ 291 Standard: 8 ECU1\n"
                               "BO_ 2566844926 Extended : 5 Vector__XXX\n"
                               "BO_ 2147483649 SmallExtended:0\n");
    EXPECT_EQ(noteLines(file), Names());
    ASSERT_EQ(file.messages.size(), 3U);
    EXPECT_EQ(file.path, "t.dbc");

    const DbcMessage& standard = file.messages[0];
    EXPECT_EQ(standard.name, "Standard");
    EXPECT_EQ(standard.id, 0x123U);
    EXPECT_FALSE(standard.extended);
    EXPECT_EQ(standard.length, 8);
    EXPECT_EQ(standard.sender, "ECU1");
    EXPECT_EQ(standard.line, 12U);

    const DbcMessage& extended = file.messages[1];
    EXPECT_EQ(extended.name, "Extended");
    EXPECT_EQ(extended.id, 0x18FEF1FEU);
    EXPECT_TRUE(extended.extended);
    EXPECT_EQ(extended.length, 5);
    EXPECT_EQ(extended.sender, "");
    EXPECT_EQ(extended.line, 13U);

    EXPECT_EQ(file.messages[2].id, 1U);
    EXPECT_TRUE(file.messages[2].extended);
    EXPECT_EQ(file.messages[2].length, 0);
}

TEST(DbcMessages, FileMayStartWithAMessage) {
    const DbcFile file = parse("BO_ 1 A: 8 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"\" X");
    EXPECT_EQ(noteLines(file), Names());
    ASSERT_EQ(file.messages.size(), 1U);
    EXPECT_EQ(signalNames(file.messages[0]), Names{"S"});
}

TEST(DbcMessages, CommentsAndCarriageReturnsAreBlanks) {
    const DbcFile file = parse("// a \"comment\r\nBO_ 1 A: 8 X // the sender\r\n\r\n"
                               " SG_ S : 0|8@1+ (1,0) [0|0] \"a//b\" X,Y // CM_ \r\n"
                               "BU_: A // \"\r\nBO_ 2 B: 8 X\r\n");
    EXPECT_EQ(noteLines(file), Names());
    ASSERT_EQ(file.messages.size(), 2U);
    EXPECT_EQ(file.messages[0].sender, "X");
    EXPECT_EQ(file.messages[0].signals[0].unit, "a//b");
    EXPECT_EQ(file.messages[0].signals[0].receivers, (Names{"X", "Y"}));
    EXPECT_EQ(file.messages[0].signals[0].line, 4U);
    EXPECT_EQ(file.messages[1].line, 6U);
}

struct SignalRow {
    const char* name;
    const char* line; ///< behind "SG_ S"
    std::uint16_t startbit;
    std::uint8_t bits;
    bool bigEndian;
    DbcValueType type;
    double scale, offset, minimum, maximum;
    const char* unit;
    Names receivers;
};

class DbcSignalLine : public testing::TestWithParam<SignalRow> {};

TEST_P(DbcSignalLine, GivesEveryField) {
    const SignalRow& row = GetParam();
    const DbcFile file = parse("BO_ 1 A: 8 X\n SG_ S" + std::string(row.line) + "\n");
    EXPECT_EQ(noteLines(file), Names());
    const DbcSignal& signal = signalNamed(file, "S");
    EXPECT_EQ(signal.startbit, row.startbit);
    EXPECT_EQ(signal.bits, row.bits);
    EXPECT_EQ(signal.bigEndian, row.bigEndian);
    EXPECT_EQ(signal.type, row.type);
    EXPECT_EQ(signal.scale, row.scale);
    EXPECT_EQ(signal.offset, row.offset);
    EXPECT_EQ(signal.minimum, row.minimum);
    EXPECT_EQ(signal.maximum, row.maximum);
    EXPECT_EQ(signal.unit, row.unit);
    EXPECT_EQ(signal.receivers, row.receivers);
    EXPECT_FALSE(signal.multiplexer);
    EXPECT_FALSE(signal.multiplexing);
    EXPECT_EQ(signal.line, 2U);
}

constexpr auto Unsigned = DbcValueType::Unsigned;
constexpr auto Signed = DbcValueType::Signed;

INSTANTIATE_TEST_SUITE_P(
    Rows, DbcSignalLine,
    testing::Values(SignalRow{"LittleEndian",
                              " : 12|10@1+ (0.5,-40) [-40|471.5] \"degC\" ECU1,ECU2",
                              12,
                              10,
                              false,
                              Unsigned,
                              0.5,
                              -40,
                              -40,
                              471.5,
                              "degC",
                              {"ECU1", "ECU2"}},
                    SignalRow{"BigEndianSigned",
                              " : 7|64@0- (1,0) [0|0] \"\" Vector__XXX",
                              7,
                              64,
                              true,
                              Signed,
                              1,
                              0,
                              0,
                              0,
                              "",
                              {}},
                    SignalRow{
                        "NoBlanks", ":0|1@1+(1,0)[0|1]\"\"A", 0, 1, false, Unsigned, 1, 0, 0, 1, "", {"A"}},
                    SignalRow{"ManyBlanks",
                              "  :  0 | 1 @ 1 + ( 1 , 0 ) [ 0 | 1 ]  \" % \"  A , B C ;",
                              0,
                              1,
                              false,
                              Unsigned,
                              1,
                              0,
                              0,
                              1,
                              " % ",
                              {"A", "B", "C"}},
                    SignalRow{"Exponents",
                              " : 0|8@1+ (1E-005,+1) [-1.5e+3|2.E2] \"\"",
                              0,
                              8,
                              false,
                              Unsigned,
                              1e-5,
                              1,
                              -1500,
                              200,
                              "",
                              {}},
                    SignalRow{"UnitInUtf8",
                              " : 0|8@1+ (1,0) [0|0] \"\xC2\xB0\x43\" A",
                              0,
                              8,
                              false,
                              Unsigned,
                              1,
                              0,
                              0,
                              0,
                              "\xC2\xB0\x43",
                              {"A"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DbcSignals, NumbersBeyondDoubleBecomeTheClosest) {
    const DbcFile file = parse("BO_ 1 A: 8 X\n"
                               " SG_ S : 0|8@1+ (1,1e-999) [-1.79769313486232E+308|1.8E+308] \"\" X\n");
    const DbcSignal& signal = signalNamed(file, "S");
    EXPECT_EQ(signal.offset, 0);
    EXPECT_EQ(signal.minimum, -std::numeric_limits<double>::max());
    EXPECT_EQ(signal.maximum, std::numeric_limits<double>::max());
    EXPECT_EQ(noteLines(file),
              Names{"G t.dbc:2: signal S of message A has a number beyond the range of a double; "
                    "the closest is taken"});
}

struct ExtentRow {
    const char* layout;
    const char* note; ///< empty: none
    bool kept;
};

class DbcSignalExtent : public testing::TestWithParam<ExtentRow> {};

TEST_P(DbcSignalExtent, AgainstAMessageOfFourBytes) {
    const ExtentRow& row = GetParam();
    const DbcFile file =
        parse("BO_ 1 A: 4 X\n SG_ S : " + std::string(row.layout) + "+ (1,0) [0|0] \"\" X\n");
    EXPECT_EQ(noteLines(file), *row.note == 0 ? Names() : Names{row.note});
    EXPECT_EQ(file.messages.at(0).signals.size(), row.kept ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DbcSignalExtent,
    testing::Values(
        ExtentRow{"0|32@1", "", true}, ExtentRow{"7|32@0", "", true}, ExtentRow{"24|1@0", "", true},
        ExtentRow{"1|32@1",
                  "G t.dbc:2: signal S of message A reaches to byte 5 of a message of 4 bytes; kept", true},
        ExtentRow{"24|2@0",
                  "G t.dbc:2: signal S of message A reaches to byte 5 of a message of 4 bytes; kept", true},
        ExtentRow{"6|32@0",
                  "G t.dbc:2: signal S of message A reaches to byte 5 of a message of 4 bytes; kept", true},
        ExtentRow{"511|1@1",
                  "G t.dbc:2: signal S of message A reaches to byte 64 of a message of 4 bytes; kept", true},
        ExtentRow{"511|2@1", "D t.dbc:2: signal S of message A dropped: it lies beyond 64 bytes", false},
        ExtentRow{"504|2@0", "D t.dbc:2: signal S of message A dropped: it lies beyond 64 bytes", false},
        ExtentRow{"18446744073709551615|2@1",
                  "D t.dbc:2: signal S of message A dropped: it lies beyond 64 bytes", false},
        ExtentRow{"0|0@1", "D t.dbc:2: signal S of message A dropped: its width is 0", false},
        ExtentRow{"0|65@1", "D t.dbc:2: signal S of message A dropped: its width of 65 bits is more than 64",
                  false}));

} // namespace
} // namespace rksignal
