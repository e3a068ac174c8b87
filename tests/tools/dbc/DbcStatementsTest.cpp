/// \file
/// Statements about messages and signals: value types, texts, names and frame formats.
#include "tools/dbc/DbcText.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

using Names = std::vector<std::string>;

const std::string twoMessages = "BO_ 10 A: 8 N1\n"
                                " SG_ S : 0|32@1- (1,0) [0|0] \"\" N2\n"
                                " SG_ T : 32|32@1+ (1,0) [0|0] \"\" N2\n"
                                "BO_ 2147483658 B: 8 N2\n"
                                " SG_ S : 0|64@1+ (1,0) [0|0] \"\" N1\n";

TEST(DbcValueTypes, WithAndWithoutColon) {
    const DbcFile file = parse(twoMessages + "SIG_VALTYPE_ 10 S : 1;\n"
                                             "SIG_VALTYPE_ 10 T : 0;\n"
                                             "SIG_VALTYPE_ 2147483658 S 2 ;\n");
    EXPECT_EQ(noteLines(file), Names());
    EXPECT_EQ(file.messages[0].signals[0].type, DbcValueType::Float);
    EXPECT_EQ(file.messages[0].signals[1].type, DbcValueType::Unsigned);
    EXPECT_EQ(file.messages[1].signals[0].type, DbcValueType::Double);
}

TEST(DbcValueTypes, WidthDecides) {
    const DbcFile file = parse("BO_ 10 A: 8 X\n"
                               " SG_ S : 0|32@1- (1,0) [0|0] \"\" X\n"
                               " SG_ T : 32|16@1- (1,0) [0|0] \"\" X\n"
                               " SG_ U : 48|8@1- (1,0) [0|0] \"\" X\n"
                               "SIG_VALTYPE_ 10 S : 2;\n"
                               "SIG_VALTYPE_ 10 T : 1;\n"
                               "SIG_VALTYPE_ 10 U : 3;\n"
                               "CM_ SG_ 10 T \"a reference to a dropped signal is fine\";\n");
    EXPECT_EQ(
        noteLines(file),
        (Names{"G t.dbc:5: SIG_VALTYPE_ 2 of signal S of message 10: taken by its width of 32 bits",
               "D t.dbc:6: SIG_VALTYPE_ 1 of signal T of message 10: a floating-point number of 16 bits; the "
               "signal is dropped",
               "D t.dbc:7: SIG_VALTYPE_ 3 of signal U of message 10 ignored: the value type is unknown"}));
    EXPECT_EQ(signalNames(file.messages[0]), (Names{"S", "U"}));
    EXPECT_EQ(file.messages[0].signals[0].type, DbcValueType::Float);
    EXPECT_EQ(file.messages[0].signals[1].type, DbcValueType::Signed);
}

TEST(DbcValues, ListsAndTables) {
    const DbcFile file = parse("VAL_TABLE_ OnOff 1 \"on\" 0 \"off\" ;\n" + twoMessages +
                               "VAL_ 10 S -1 \"minus \\\"one\\\"\" 0 \"zero\"\n  +7 \"seven\" ;\n"
                               "VAL_ 10 T OnOff ;\n"
                               "VAL_ 2147483658 S 18446744073709551615 \"not available\";\n"
                               "VAL_ EnvironmentVariable 0 \"x\" ;\n");
    EXPECT_EQ(noteLines(file), Names());
    using Texts = std::map<std::uint64_t, std::string>;
    EXPECT_EQ(file.messages[0].signals[0].valueDescriptions,
              (Texts{{0xFFFFFFFFFFFFFFFF, "minus \"one\""}, {0, "zero"}, {7, "seven"}}));
    EXPECT_EQ(file.messages[0].signals[1].valueDescriptions, (Texts{{1, "on"}, {0, "off"}}));
    EXPECT_EQ(file.messages[1].signals[0].valueDescriptions, (Texts{{0xFFFFFFFFFFFFFFFF, "not available"}}));
}

TEST(DbcValues, TheLastTextOfAValueCounts) {
    const DbcFile file =
        parse(twoMessages + "VAL_ 10 S 1 \"a\" 1 \"b\" 2 \"c\" 2 \"c\" ;\nVAL_ 10 T Missing ;\n");
    EXPECT_EQ(signalNamed(file, "S").valueDescriptions.at(1), "b");
    EXPECT_EQ(noteLines(file),
              (Names{"G t.dbc:6: VAL_: value 1 of signal S of message 10 is described again; the "
                     "last text is taken",
                     "D t.dbc:7: VAL_ ignored: there is no VAL_TABLE_ Missing"}));
}

TEST(DbcComments, OfMessagesAndSignalsOverSeveralLines) {
    const DbcFile file = parse("CM_ SG_ 10 T \"comes before its signal\";\n" + twoMessages +
                               "CM_ \"of the file; BO_ 99\n\";\n"
                               "CM_ BU_ N1 \"of a node\";\n"
                               "CM_ BO_ 10 \"first \\\"line\\\";\r\nBO_ 11 C: 8 X\n\";\n"
                               "CM_ SG_ 10 S \"C:\\path\";\n"
                               "CM_ SG_ 2147483658 S \"other\";\n");
    EXPECT_EQ(noteLines(file), Names());
    ASSERT_EQ(file.messages.size(), 2U);
    EXPECT_EQ(file.messages[0].comment, "first \"line\";\nBO_ 11 C: 8 X\n");
    EXPECT_EQ(file.messages[0].signals[0].comment, "C:\\path");
    EXPECT_EQ(file.messages[0].signals[1].comment, "comes before its signal");
    EXPECT_EQ(file.messages[1].comment, "");
    EXPECT_EQ(file.messages[1].signals[0].comment, "other");
}

TEST(DbcComments, WithoutTheFullObject) {
    const DbcFile file = parse(twoMessages + "CM_ SG_ 10 \"all of it\";\n"
                                             "CM_ 2147483658 S \"a signal\";\n"
                                             "CM_ 10 \"again\";\n");
    EXPECT_EQ(file.messages[0].comment, "all of it");
    EXPECT_EQ(file.messages[1].signals[0].comment, "a signal");
    EXPECT_EQ(noteLines(file),
              (Names{"G t.dbc:6: CM_ without a signal name taken as the comment of message 10",
                     "G t.dbc:8: CM_ without a signal name taken as the comment of message 10",
                     "D t.dbc:8: CM_ ignored: message 10 has a comment already"}));
}

TEST(DbcLongNames, ReplaceShortNamesButReferencesKeepThem) {
    const DbcFile file = parse("BA_ \"SystemSignalLongSymbol\" SG_ 10 S \"S_long\";\n" + twoMessages +
                               "BA_DEF_ SG_ \"SystemSignalLongSymbol\" STRING ;\n"
                               "BA_DEF_DEF_ \"SystemSignalLongSymbol\" \"\";\n"
                               "BA_ \"SystemMessageLongSymbol\" BO_ 10 \"A_long\";\n"
                               "BA_ \"SystemNodeLongSymbol\" BU_ N1 \"N1_long\";\n"
                               "BA_ \"SystemSignalLongSymbol\" SG_ 10 T \"S_long\";\n"
                               "CM_ SG_ 10 S \"by its short name\";\n"
                               "SG_MUL_VAL_ 10 T S 1-1;\n");
    EXPECT_EQ(file.messages[0].name, "A_long");
    EXPECT_EQ(file.messages[0].sender, "N1_long");
    EXPECT_EQ(signalNames(file.messages[0]), (Names{"S_long", "T"}));
    EXPECT_EQ(file.messages[0].signals[0].comment, "by its short name");
    EXPECT_EQ(file.messages[0].signals[1].multiplexing->multiplexer, "S_long");
    EXPECT_EQ(file.messages[1].signals[0].name, "S");
    EXPECT_EQ(file.messages[1].signals[0].receivers, Names{"N1_long"});
    EXPECT_EQ(noteLines(file),
              (Names{"G t.dbc:11: long name S_long of signal T of message 10 belongs to another "
                     "signal already; the short name is kept",
                     "G t.dbc:13: SG_MUL_VAL_: signal S of message 10 is not marked as a "
                     "multiplexer; taken as one"}));
}

struct FrameFormatRow {
    const char* name;
    const char* statements;
    int length;
    bool canFd;
    Names notes;
};

class DbcFrameFormat : public testing::TestWithParam<FrameFormatRow> {};

TEST_P(DbcFrameFormat, DecidesAboutCanFd) {
    const FrameFormatRow& row = GetParam();
    const DbcFile file =
        parse(std::string(row.statements) + "BO_ 10 A: " + std::to_string(row.length) + " X\n");
    EXPECT_EQ(file.messages.at(0).canFd, row.canFd);
    EXPECT_EQ(noteLines(file), row.notes);
}

const char* const fiveFormats =
    "BA_DEF_ BO_ \"VFrameFormat\" ENUM \"StandardCAN\",\"ExtendedCAN\",\"StandardCAN_FD\","
    "\"ExtendedCAN_FD\",\"J1939PG\";\n";
const std::string secondOfFive = std::string(fiveFormats) + "BA_ \"VFrameFormat\" BO_ 10 2;\n";
const std::string fourteenthOfFive = std::string(fiveFormats) + "BA_ \"VFrameFormat\" BO_ 10 14;\n";
const std::string fdByDefault =
    std::string(fiveFormats) + "BA_DEF_DEF_ \"VFrameFormat\" \"StandardCAN_FD\";\n";
const std::string fdByDefaultOnly = fdByDefault + "BA_ \"VFrameFormat\" BO_ 10 0;\n";
const std::string longJ1939 = std::string(fiveFormats) + "BA_ \"VFrameFormat\" BO_ 10 4;\n";

INSTANTIATE_TEST_SUITE_P(
    Rows, DbcFrameFormat,
    testing::Values(FrameFormatRow{"NothingSaid", "", 8, false, {}},
                    FrameFormatRow{"Length", "", 9, true, {}},
                    FrameFormatRow{"Number14", "BA_ \"VFrameFormat\" BO_ 10 14;\n", 8, true, {}},
                    FrameFormatRow{"Number15", "BA_ \"VFrameFormat\" BO_ 10 15;\n", 8, true, {}},
                    FrameFormatRow{"Number3", "BA_ \"VFrameFormat\" BO_ 10 3;\n", 8, false, {}},
                    FrameFormatRow{"Text", "BA_ \"VFrameFormat\" BO_ 10 \"ExtendedCAN_FD\";\n", 8, true, {}},
                    FrameFormatRow{"NumberOfTheFilesOwnList", secondOfFive.c_str(), 8, true, {}},
                    FrameFormatRow{"NumberPastTheFilesOwnList", fourteenthOfFive.c_str(), 8, true, {}},
                    FrameFormatRow{"Default", fdByDefault.c_str(), 8, true, {}},
                    FrameFormatRow{"OwnValueBeforeDefault", fdByDefaultOnly.c_str(), 8, false, {}},
                    FrameFormatRow{
                        "LengthAgainstFormat",
                        longJ1939.c_str(),
                        39,
                        true,
                        {"G t.dbc:2: message A of 39 bytes taken as CAN FD despite its frame format "
                         "J1939PG"}}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace rksignal
