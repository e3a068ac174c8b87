/// \file
/// What `rksignal decode` says besides its results, as whole texts, and its exit status.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

constexpr const char* definitions = "BO_ 256 Engine: 8 X\n"
                                    " SG_ Speed : 0|16@1+ (1,0) [0|0] \"\" X\n"
                                    " SG_ Temp : 56|8@1+ (1,0) [0|0] \"\" X\n"
                                    "BO_ 2147483904 Body: 2 X\n"
                                    " SG_ Door : 0|1@1+ (1,0) [0|0] \"\" X\n"
                                    "BO_ 300 Silent: 1 X\n"
                                    "BO_ 301 Absent: 1 X\n"
                                    " SG_ S : 0|1@1+ (1,0) [0|0] \"\" X\n";

TEST(DecodeSummary, CountsEveryKindOfLine) {
    const ProgramResult result =
        decodeText(definitions, "(1.0) can0 100#0000000000000000\r\n"
                                "\n"
                                "(1.1) can0 100#R\n"
                                "(1.2) can0 20000004#0004000000000000\n"
                                "(1.3) can0 00100#81:00:12345678#1122\n"
                                "DROPCOUNT: dropped 1 CAN frame on 'can0' socket (total drops 1)\n"
                                "(1.4) can1 100##00000 T\n"
                                "(1.5) can1 00000100#01\n"
                                "(1.6) can1 101#\n"
                                "(1.7) can1 12C#00");
    EXPECT_EQ(result.status, Clean);
    EXPECT_EQ(result.messages,
              "8 frames read: 4 decoded, 1 unknown, 1 remote, 1 error, 1 CAN XL (not supported)\n"
              "the recorder lost 1 frame\n"
              "unknown: can1 101 (1)\n"
              "shorter than defined:\n"
              "  Engine: 1 of 2 frames, 1 value missing\n"
              "  Body: 1 of 1 frame, 0 values missing\n"
              "never seen: 1 of 4 messages: Absent\n"
              "on several channels, decoded as one (--dbc CHANNEL=FILE keeps them apart): Engine\n");
}

TEST(DecodeSummary, UnknownIdentifiersByFrequency) {
    std::string trace;
    for (int id = 0; id < 12; ++id) {
        for (int i = 0; i <= (id * 5) % 12; ++i) {
            trace += "(1.0) can" + std::to_string(id % 2) + (id % 3 == 0 ? " 0000040" : " 40") +
                     "0123456789AB"[id] + "#00\n";
        }
    }
    EXPECT_EQ(decodeText(definitions, trace).messages,
              "78 frames read: 0 decoded, 78 unknown, 0 remote, 0 error\n"
              "unknown: can1 407 (12), can0 402 (11), can1 00000409 (10), can0 404 (9), can1 40B (8), can0 "
              "00000406 (7), "
              "can1 401 (6), can0 408 (5), can1 00000403 (4), can0 40A (3) and 2 more\n"
              "never seen: 4 of 4 messages: Engine, Body, Silent, Absent\n");
}

TEST(DecodeSummary, FirstTenMalformedLinesWithReasons) {
    std::string trace = "(1.0) can0 100#0000000000000000\n";
    for (int i = 0; i < 5; ++i) {
        trace += "(1.0) can0 100#000\n\n(1.0) can0 900#00\n(1.0) can0 12C#00\n";
    }
    trace += std::string(9000, ' ') + "\n(1.0) can0 12C#0";
    const ProgramResult result = decodeText(definitions, trace);
    EXPECT_EQ(result.status, Damaged);
    EXPECT_EQ(result.output, "time,channel,instance,value,unit,raw,text\n"
                             "1.000000,0,Engine.Speed,0,,0,\n"
                             "1.000000,0,Engine.Temp,0,,0,\n");
    EXPECT_EQ(result.messages, "6 frames read: 6 decoded, 0 unknown, 0 remote, 0 error\n"
                               "12 malformed lines, first:\n"
                               "  test.log:2: odd number of data digits\n"
                               "  test.log:4: standard identifier is above 7FF\n"
                               "  test.log:6: odd number of data digits\n"
                               "  test.log:8: standard identifier is above 7FF\n"
                               "  test.log:10: odd number of data digits\n"
                               "  test.log:12: standard identifier is above 7FF\n"
                               "  test.log:14: odd number of data digits\n"
                               "  test.log:16: standard identifier is above 7FF\n"
                               "  test.log:18: odd number of data digits\n"
                               "  test.log:20: standard identifier is above 7FF\n"
                               "never seen: 2 of 4 messages: Body, Absent\n");
}

TEST(DecodeSummary, OverlongLinesAreMalformed) {
    const ProgramResult result =
        decodeText(definitions, "(1.0) can0 100#00" + std::string(100'000, '0') + "\n(1.0) can0 12C#00\n");
    EXPECT_EQ(result.status, Damaged);
    EXPECT_EQ(result.messages, "1 frame read: 1 decoded, 0 unknown, 0 remote, 0 error\n"
                               "1 malformed line:\n"
                               "  test.log:1: line is too long\n"
                               "never seen: 3 of 4 messages: Engine, Body, Absent\n");
}

TEST(DecodeSummary, InterfacesWithoutANumberOfTheirOwn) {
    EXPECT_EQ(decodeText("BO_ 1 A: 1 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"\" X\n",
                         "(1.0) engine 001#00\n(1.0) can1 001#00\n(1.0) vcan1 001#00\n")
                  .messages,
              "3 frames read: 3 decoded, 0 unknown, 0 remote, 0 error\n"
              "on several channels, decoded as one (--dbc CHANNEL=FILE keeps them apart): A\n"
              "interface engine counts as channel 0\n"
              "interfaces can1 and vcan1 are both channel 1; --channel NAME=N tells them apart\n");
}

TEST(DecodeSummary, BrokenDefinitionsAreDamageButGuessesAreNot) {
    const std::string trace = "(1.000000) can0 001#05\n";
    const std::string good = "BO_ 1 A: 8 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"\" X\n";
    const ProgramResult broken = decodeText(good + " SG_ T : 0|8@1+ (1,0 [0|0] \"\" X\n", trace);
    EXPECT_EQ(broken.status, Damaged);
    EXPECT_EQ(broken.output, "time,channel,instance,value,unit,raw,text\n1.000000,0,A.S,5,,5,\n");
    EXPECT_EQ(broken.messages.rfind("test.dbc:3: ", 0), 0U) << broken.messages;

    const ProgramResult guessed = decodeText(good + " SG_ T : 60|8@1+ (1,0) [0|0] \"\" X\n", trace);
    EXPECT_EQ(guessed.status, Clean);
    EXPECT_EQ(guessed.messages.rfind("test.dbc:3: ", 0), 0U) << guessed.messages;
}

TEST(DecodeSummary, QuietSaysNothingButKeepsTheStatus) {
    const ProgramResult result = decodeText(definitions, "bad\n(1.000000) can0 12D#01\n", {"-q"});
    EXPECT_EQ(result.status, Damaged);
    EXPECT_EQ(result.messages, "");
    EXPECT_EQ(result.output, "time,channel,instance,value,unit,raw,text\n1.000000,0,Absent.S,1,,1,\n");
}

} // namespace
} // namespace rksignal
