/// \file
/// `rksignal explain`: a value worked through, and every reason for having none.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

struct ExplainCommand : testing::Test {
    ExplainCommand() {
        folder.write("m.dbc", "BO_ 256 Modes: 8 ECU\n"
                              " SG_ Mode M : 0|4@1+ (1,0) [0|0] \"\" X\n"
                              " SG_ Wide : 12|10@0- (0.5,-1) [-10|10] \"m/s\" X\n"
                              " SG_ One m1 : 16|8@1+ (1,0) [0|0] \"\" X\n"
                              " SG_ Far : 56|8@1+ (1,0) [0|0] \"\" X\n"
                              "BO_ 2147484160 Long: 8 X\n"
                              " SG_ S : 0|8@1+ (1,0) [0|0] \"\" X\n"
                              "BO_ 3 Lost: 8 X\n"
                              " SG_ S : 0|8@1+ (1,0) [0|0] \"\" X\n"
                              " SG_ Bad : 60|8@1+ (1,0) [0|0] \"\" X\n"
                              "VAL_ 256 Mode 2 \"Off\" ;\n");
        folder.write("b.dbc", "BO_ 5 Bound: 8 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"\" X\n");
        folder.write("t.log", "(1.0) can0 100#01040607\n(1.5) can0 100#0200\n(2.0) can0 100#0212A8\n"
                              "(2.1) can1 005#01\n(2.2) can2 200#01\n");
    }
    ProgramResult explain(const std::string& arguments) {
        return folder.run("rksignal explain " + arguments + " -q --dbc m.dbc --dbc 2=b.dbc t.log");
    }

    TemporaryFolder folder;
};

TEST_F(ExplainCommand, WorksTheLastValueThrough) {
    const ProgramResult result = explain("Modes.Wide --frames 1"); // 10010 10101 in two's complement
    EXPECT_EQ(result.output, "Modes.Wide: -214.5 m/s\n"
                             "  defined   m.dbc:3\n"
                             "  message   Modes, 8 bytes, from ECU\n"
                             "  frame     can 100, 11 bits, every channel\n"
                             "  field     byte 1 bit 4, 10 bits, big endian, signed\n"
                             "  range     -10 to 10 m/s\n"
                             "\n"
                             "last value at 2.000000, on can0\n"
                             " byte    7   6   5   4   3   2   1   0\n"
                             "      +-------------------------------+\n"
                             "    0 |  0   0   0   0   0   0   1   0|\n"
                             "    1 |  0   0   0|[1] [0] [0] [1] [0]|\n"
                             "    2 |[1] [0] [1] [0] [1]|  0   0   0|\n"
                             "      +-------------------------------+\n"
                             "  bits      10 0101 0101, the most significant first\n"
                             "  raw       -427 = 0x255\n"
                             "  value     -427 * 0.5 - 1 = -214.5 m/s\n"
                             "\n"
                             "last 1 of 2 values\n"
                             "  time      channel   raw   value  unit  text  bytes\n"
                             "  2.000000        0  -427  -214.5  m/s         02 12 A8\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(ExplainCommand, SaysWhyThereIsNoValue) {
    const char* const cases[][2] = {
        {"Modes.One", "Modes.One: 6\n"
                      "  not in the last frame of its message: branch inactive\n"
                      "  Modes.Mode was 2 (Off) in the last frame, and the signal is there while Mode = 1\n"},
        {"Modes.Far", "Modes.Far: no value, frame too short\n"
                      "  the last frame had 3 bytes, the signal ends in byte 7\n"},
        {"Long.S", "Long.S: no value, never seen\n"
                   "  identifier 00000200 came with 11 bits instead of 29, on can2\n"},
        {"Lost.S", "Lost.S: no value, never seen\n"
                   "  no such message came, among 5 of can\n"},
        {"Bound.S", "Bound.S: no value, never seen\n"
                    "  identifier 005 came on another channel: can1 instead of can2\n"},
        {"Lost.Bad", "Lost.Bad: no value, the definition is not used\n"},
    };
    for (const auto& [instance, reason] : cases) {
        const std::string output = explain(instance).output;
        EXPECT_EQ(output.substr(0, output.find("  defined ")), reason);
    }
    EXPECT_NE(explain("Lost.Bad").output.find("warning   signal Lost.Bad is not decoded: it reaches beyond"),
              std::string::npos);
    EXPECT_EQ(explain("Mods.Wide").messages,
              "rksignal: there is no signal Mods.Wide; close are Modes.Wide, Modes.Mode\n");
}

} // namespace
} // namespace rksignal
