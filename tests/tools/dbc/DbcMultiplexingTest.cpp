/// \file
/// Which signal selects which, in simple, nested and independent multiplexing.
#include "tools/dbc/DbcText.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

using Names = std::vector<std::string>;

struct MultiplexRow {
    const char* name;
    Names signals; ///< name and indicator
    const char* statements;
    Names expected; ///< "name", "name*" for a multiplexer, "name < multiplexer 1-1 3-5"
    Names notes;
};

std::string describe(const DbcSignal& signal) {
    std::string text = signal.name + (signal.multiplexer ? "*" : "");
    if (signal.multiplexing) {
        text += " < " + signal.multiplexing->multiplexer;
        for (const auto& [first, last] : signal.multiplexing->ranges)
            text += " " + std::to_string(first) + "-" + std::to_string(last);
    }
    return text;
}

class DbcMultiplexed : public testing::TestWithParam<MultiplexRow> {};

TEST_P(DbcMultiplexed, FindsTheMultiplexer) {
    const MultiplexRow& row = GetParam();
    std::string text = "BO_ 1 M: 8 X\n";
    for (const std::string& signal : row.signals)
        text += " SG_ " + signal + " : 0|8@1+ (1,0) [0|0] \"\" X\n";
    const DbcFile file = parse(text + row.statements);
    Names found;
    for (const DbcSignal& signal : file.messages.at(0).signals)
        found.push_back(describe(signal));
    EXPECT_EQ(found, row.expected);
    EXPECT_EQ(noteLines(file), row.notes);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DbcMultiplexed,
    testing::Values(
        MultiplexRow{"Simple",
                     {"A m0", "B m18446744073709551615", "S M", "C"},
                     "",
                     {"A < S 0-0", "B < S 18446744073709551615-18446744073709551615", "S*", "C"},
                     {}},
        MultiplexRow{"NestedWithoutStatementsBelongsToTheOuterOne",
                     {"S M", "T m1M", "A m2"},
                     "",
                     {"S*", "T* < S 1-1", "A < S 2-2"},
                     {}},
        MultiplexRow{"Ranges",
                     {"S M", "A m1", "B m7"},
                     "SG_MUL_VAL_ 1 A S 1-3, 7-7,9 ;\nSG_MUL_VAL_ 1 A S 12-11;\nSG_MUL_VAL_ 1 B S 7-7;\n",
                     {"S*", "A < S 1-3 7-7 9-9 11-12", "B < S 7-7"},
                     {"G t.dbc:6: SG_MUL_VAL_: range 12-11 is reversed; its ends are swapped"}},
        MultiplexRow{"Nested",
                     {"S M", "T m2M", "A m0", "B m1"},
                     "SG_MUL_VAL_ 1 T S 2-2;\nSG_MUL_VAL_ 1 A T 0-0;\nSG_MUL_VAL_ 1 B S 1-1;\n",
                     {"S*", "T* < S 2-2", "A < T 0-0", "B < S 1-1"},
                     {}},
        MultiplexRow{"Independent",
                     {"B2 m2", "B1 m1", "T M", "A1 m1", "S M"},
                     "SG_MUL_VAL_ 1 B2 T 2-2;\nSG_MUL_VAL_ 1 B1 T 1-1;\nSG_MUL_VAL_ 1 A1 S 1-1;\n",
                     {"B2 < T 2-2", "B1 < T 1-1", "T*", "A1 < S 1-1", "S*"},
                     {}},
        MultiplexRow{
            "IndependentWithoutStatements",
            {"S M", "T M", "A m1"},
            "",
            {"S*", "T*", "A < S 1-1"},
            {"G t.dbc:4: signal A of message M may belong to one of several multiplexers; S assumed"}},
        MultiplexRow{"WithoutMultiplexer",
                     {"A m1", "B"},
                     "",
                     {"B"},
                     {"D t.dbc:2: signal A of message M dropped: its message has no multiplexer for it"}},
        MultiplexRow{"UnknownMultiplexer",
                     {"S M", "A m1", "B"},
                     "SG_MUL_VAL_ 1 A Q 1-1;\nSG_MUL_VAL_ 1 B Q 1-1;\n",
                     {"S*", "A < S 1-1", "B"},
                     {"D t.dbc:5: SG_MUL_VAL_ ignored: there is no signal Q in message 1",
                      "D t.dbc:6: SG_MUL_VAL_ ignored: there is no signal Q in message 1"}},
        MultiplexRow{
            "SecondMultiplexer",
            {"S M", "T M", "A m1"},
            "SG_MUL_VAL_ 1 A S 1-1;\nSG_MUL_VAL_ 1 A T 1-1;\n",
            {"S*", "T*", "A < S 1-1"},
            {"D t.dbc:6: SG_MUL_VAL_ ignored: signal A of message 1 has another multiplexer already"}},
        MultiplexRow{"Cycle",
                     {"A m0", "S m0M", "T m0M", "B"},
                     "SG_MUL_VAL_ 1 A S 0-0;\nSG_MUL_VAL_ 1 S T 0-0;\nSG_MUL_VAL_ 1 T S 0-0;\n",
                     {"B"},
                     {"D t.dbc:2: signal A of message M dropped: its multiplexer S was dropped",
                      "D t.dbc:3: signal S of message M dropped: its multiplexers form a cycle",
                      "D t.dbc:4: signal T of message M dropped: its multiplexers form a cycle"}},
        MultiplexRow{"BadIndicator",
                     {"S M", "A x1", "B m", "C m1"},
                     "",
                     {"S*", "C < S 1-1"},
                     {"E t.dbc:3: SG_: expected ':' or a multiplexer indicator, found 'x1'",
                      "E t.dbc:4: SG_: expected ':' or a multiplexer indicator, found 'm'"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DbcMultiplexing, SignalsOfADroppedMultiplexerAreDropped) {
    const DbcFile file = parse("BO_ 1 M: 8 X\n"
                               " SG_ S M : 0|16@1+ (1,0) [0|0] \"\" X\n"
                               " SG_ T m1M : 16|8@1+ (1,0) [0|0] \"\" X\n"
                               " SG_ A m2 : 24|8@1+ (1,0) [0|0] \"\" X\n"
                               "SG_MUL_VAL_ 1 T S 1-1;\nSG_MUL_VAL_ 1 A T 2-2;\n"
                               "SIG_VALTYPE_ 1 S : 1;\n");
    EXPECT_EQ(signalNames(file.messages.at(0)), Names());
    EXPECT_EQ(
        noteLines(file),
        (Names{"D t.dbc:3: signal T of message M dropped: its multiplexer S was dropped",
               "D t.dbc:4: signal A of message M dropped: its multiplexer T was dropped",
               "D t.dbc:7: SIG_VALTYPE_ 1 of signal S of message 1: a floating-point number of 16 bits; the "
               "signal is dropped"}));
}

} // namespace
} // namespace rksignal
