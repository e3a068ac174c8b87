/// \file
/// Which signals of multiplexed and of short frames get a value.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <sstream>

namespace rksignal {
namespace {

constexpr const char* tail = " (1,0) [0|0] \"\" X\n";

std::string signal(const std::string& nameAndPlace) {
    return " SG_ " + nameAndPlace + tail;
}

const std::string simple = "BO_ 1 A: 8 X\n" + signal("P : 56|8@1+") + signal("M M : 0|8@1+") +
                           signal("Zero m0 : 8|8@1+") + signal("One m1 : 8|8@1+") +
                           signal("AlsoOne m1 : 23|16@0-");

const std::string ranged = "BO_ 1 A: 8 X\n" + signal("M M : 0|8@1+") + signal("Low m0 : 8|8@1+") +
                           signal("Mixed m5 : 16|8@1+") +
                           "SG_MUL_VAL_ 1 Low M 0-3;\nSG_MUL_VAL_ 1 Mixed M 3-4, 200-255;\n";

const std::string nested = "BO_ 1 A: 8 X\n" + signal("M M : 0|4@1+") + signal("N m1M : 4|4@1+") +
                           signal("S m2 : 8|8@1+") + signal("T m0 : 8|8@1+") + signal("P : 16|8@1+") +
                           "SG_MUL_VAL_ 1 N M 1-1;\nSG_MUL_VAL_ 1 S N 2-2;\nSG_MUL_VAL_ 1 T M 0-0;\n";

const std::string independent = "BO_ 1 A: 8 X\n" + signal("M M : 0|4@1+") + signal("N M : 4|4@1+") +
                                signal("S m1 : 8|8@1+") + signal("T m1 : 16|8@1+") +
                                "SG_MUL_VAL_ 1 S M 1-1;\nSG_MUL_VAL_ 1 T N 1-1;\n";

const std::string fd = "BO_ 1 A: 64 X\n" + signal("M M : 0|8@1+") + signal("Near m0 : 8|8@1+") +
                       signal("Far m1 : 488|24@1+") + signal("P : 16|8@1+");

const std::string wide = "BO_ 1 A: 8 X\n" + signal("M M : 0|16@1+") + signal("S m65535 : 16|8@1+") +
                         "BO_ 2 B: 8 X\n" + signal("Q : 0|8@1+");

const std::string negative = "BO_ 1 A: 8 X\n" + signal("M M : 0|8@1-") + signal("S m255 : 8|8@1+");

const std::string late =
    "BO_ 1 A: 8 X\n" + signal("M M : 24|8@1+") + signal("S m0 : 0|8@1+") + signal("P : 8|8@1+");

struct Row {
    const char* name;
    std::string dbc;
    std::string frames;   ///< joined by blanks
    std::string expected; ///< `signal=raw` for each value, frames separated by ` | `
    std::string messages; ///< behind the line with the counts
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.frames;
}

/// The frames as a trace, one a second.
std::string traceOf(const std::string& frames) {
    std::istringstream words(frames);
    std::string trace;
    int second = 0;
    for (std::string frame; words >> frame;) {
        trace += "(" + std::to_string(++second) + ".000000) can0 " + frame + "\n";
    }
    return trace;
}

/// Rows of CSV in the notation of `Row::expected`.
std::string shorten(const std::string& csv) {
    std::istringstream lines(csv);
    std::string line, text;
    std::getline(lines, line);
    for (int second = 1; std::getline(lines, line);) {
        std::vector<std::string> cells(1);
        for (const char character : line) {
            if (character == ',') {
                cells.emplace_back();
            } else {
                cells.back() += character;
            }
        }
        for (; second < std::stoi(cells[0]); ++second) {
            text += text.empty() || text.back() == ' ' ? "| " : " | ";
        }
        text += (text.empty() || text.back() == ' ' ? "" : " ") + cells[2].substr(2) + "=" + cells[5];
    }
    return text;
}

class DecodeBranches : public testing::TestWithParam<Row> {};

TEST_P(DecodeBranches, OnlyWhatTheFrameHoldsIsWritten) {
    const ProgramResult result = decodeText(GetParam().dbc, traceOf(GetParam().frames));
    EXPECT_EQ(shorten(result.output), GetParam().expected);
    const std::size_t counts = result.messages.find('\n') + 1;
    EXPECT_EQ(result.messages.substr(counts), GetParam().messages);
    EXPECT_EQ(result.status, Clean);
}

INSTANTIATE_TEST_SUITE_P(
    DecodeMultiplexed, DecodeBranches,
    testing::Values(
        Row{"OneLevel", simple, "001#000506FFFF000009 001#01050AFFFE000008 001#0205060000000007",
            "P=9 M=0 Zero=5 | P=8 M=1 One=5 AlsoOne=2815 | P=7 M=2", ""},
        Row{"Ranges", ranged, "001#000102 001#030102 001#040102 001#050102 001#FF0102 001#C70102",
            "M=0 Low=1 | M=3 Low=1 Mixed=2 | M=4 Mixed=2 | M=5 | M=255 Mixed=2 | M=199",
            "shorter than defined:\n  A: 6 of 6 frames, 0 values missing\n"},
        Row{"Nested", nested, "001#2105060000000000 001#1105060000000000 001#2005060000000000",
            "M=1 N=2 S=5 P=6 | M=1 N=1 P=6 | M=0 T=5 P=6", ""},
        Row{"Independent", independent,
            "001#1105060000000000 001#0105060000000000 001#1005060000000000 001#0005060000000000",
            "M=1 S=5 N=1 T=6 | M=1 S=5 N=0 | M=0 N=1 T=6 | M=0 N=0", ""},
        Row{"CanFd", fd,
            "001##1000607" + std::string(122, '0') + " 001##1010607" + std::string(116, '0') + "030201",
            "M=0 Near=6 P=7 | M=1 Far=66051 P=7", ""},
        Row{"MultiplexerOf16Bits", wide, "001#FFFF050000000000 001#FEFF050000000000 002#0900000000000000",
            "M=65535 S=5 | M=65534 | Q=9", ""},
        Row{"SelectorWithoutItsSign", negative, "001#FF05000000000000 001#7F05000000000000",
            "M=-1 S=5 | M=127", ""}),
    [](const auto& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    DecodeShort, DecodeBranches,
    testing::Values(Row{"Branch", simple, "001#0105 001#010506 001#01 001#", "M=1 One=5 | M=1 One=5 | M=1",
                        "shorter than defined:\n  A: 4 of 4 frames, 9 values missing\n"},
                    Row{"MultiplexerMissing", late, "001#0506 001#0506070000000000", "P=6 | M=0 S=5 P=6",
                        "shorter than defined:\n  A: 1 of 2 frames, 1 value missing\n"},
                    Row{"CanFdBranch", fd, "001##1010607 001##100", "M=1 P=7 | M=0",
                        "shorter than defined:\n  A: 2 of 2 frames, 3 values missing\n"},
                    Row{"EverythingThatFits",
                        "BO_ 1 A: 8 X\n" + signal("S : 7|16@0+") + signal("T : 12|8@1+") +
                            signal("U : 63|8@0+"),
                        "001#0102 001#010203 001#0102030405060708", "S=258 | S=258 T=48 | S=258 T=48 U=8",
                        "shorter than defined:\n  A: 2 of 3 frames, 3 values missing\n"}),
    [](const auto& info) { return info.param.name; });

/// Branches that are not selected keep their last value and its time.
TEST(DecodeMultiplexed, InactiveBranchesKeepValueAndTime) {
    const std::string frames = "001#00AB000000000000 001#0100000000000000 001#0100000000000000";
    const std::pair<std::string, std::string> rows[] = {{simple, "A.Zero"}, {nested, "A.T"}};
    for (const auto& [dbc, name] : rows) {
        const std::string output = decodeText(dbc, traceOf(frames), {"--last", "--format", "csv"}).output;
        EXPECT_NE(output.find("\n1.000000,0," + name + ",171,,171,,1\n"), output.npos) << output;
        EXPECT_NE(output.find("\n3.000000,0,A.M,1,,1,,3\n"), output.npos) << output;
    }
}

} // namespace
} // namespace rksignal
