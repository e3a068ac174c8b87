/// \file
/// What `rksignal decode` writes to its output, as whole texts.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

constexpr const char* definitions = R"(VERSION ""
BU_: ECU
BO_ 256 Engine: 8 ECU
 SG_ Speed : 0|16@1+ (0.25,0) [0|0] "rpm" X
 SG_ Torque : 16|12@1- (0.5,-100) [0|0] "Nm" X
 SG_ State : 28|4@1+ (1,0) [0|0] "" X
BO_ 2415919105 Wide: 8 ECU
 SG_ Counter : 7|64@0+ (1,0) [0|0] "" X
BO_ 513 Deep: 8 ECU
 SG_ Depth : 0|64@1- (1,0) [0|0] "" X
BO_ 514 Float: 8 ECU
 SG_ Single : 0|32@1- (1,0) [0|0] "m,s" X
BO_ 515 Double: 8 ECU
 SG_ Value : 7|64@0- (1,0) [0|0] "" X
VAL_ 256 State 0 "Off" 1 "On, \"hot\"" 2 "two
lines" ;
SIG_VALTYPE_ 514 Single : 1;
SIG_VALTYPE_ 515 Value : 2;
)";

constexpr const char* drive = "(1626905042.645596) can0 100#00100080FF000000\n"
                              "(1626905042.745596) can0 100#001000000F000000\n"
                              "(1626905042.745597) can1 10000001#FFFFFFFFFFFFFFFF\n"
                              "(1626905042.745597001) can1 201#FFFFFFFFFFFFFF7F\n"
                              "(1626905043.000000) can0 202#0000C07F\n"
                              "(1626905043.000100) can0 202#0000484200000000\n"
                              "(1626905043.000200) can0 203#7FF0000000000000\n"
                              "(1626905044.000000) can0 100#001000200F000000\n"
                              "(1626905045.000000) can0 100#0010001000000000\n";

TEST(DecodeOutput, Csv) {
    const ProgramResult result = decodeText(definitions, drive);
    EXPECT_EQ(result.status, Clean) << result.messages;
    EXPECT_EQ(result.output, R"(time,channel,instance,value,unit,raw,text
1626905042.645596,0,Engine.Speed,1024,rpm,4096,
1626905042.645596,0,Engine.Torque,-100,Nm,0,
1626905042.645596,0,Engine.State,8,,8,
1626905042.745596,0,Engine.Speed,1024,rpm,4096,
1626905042.745596,0,Engine.Torque,-100,Nm,0,
1626905042.745596,0,Engine.State,0,,0,Off
1626905042.745597,1,Wide.Counter,18446744073709551616,,18446744073709551615,
1626905042.745597001,1,Deep.Depth,9223372036854775808,,9223372036854775807,
1626905043.000000,0,Float.Single,nan,"m,s",0x7fc00000,
1626905043.000100,0,Float.Single,50,"m,s",0x42480000,
1626905043.000200,0,Double.Value,inf,,0x7ff0000000000000,
1626905044.000000,0,Engine.Speed,1024,rpm,4096,
1626905044.000000,0,Engine.Torque,-100,Nm,0,
1626905044.000000,0,Engine.State,2,,2,"two
lines"
1626905045.000000,0,Engine.Speed,1024,rpm,4096,
1626905045.000000,0,Engine.Torque,-100,Nm,0,
1626905045.000000,0,Engine.State,1,,1,"On, ""hot"""
)");
}

TEST(DecodeOutput, JsonLines) {
    const ProgramResult result = decodeText(definitions, drive, {"--format", "jsonl", "--changed"});
    EXPECT_EQ(result.status, Clean) << result.messages;
    EXPECT_EQ(
        result.output,
        R"({"time":1626905042.645596,"channel":0,"instance":"Engine.Speed","value":1024,"unit":"rpm","raw":4096,"text":""}
{"time":1626905042.645596,"channel":0,"instance":"Engine.Torque","value":-100,"unit":"Nm","raw":0,"text":""}
{"time":1626905042.645596,"channel":0,"instance":"Engine.State","value":8,"unit":"","raw":8,"text":""}
{"time":1626905042.745596,"channel":0,"instance":"Engine.State","value":0,"unit":"","raw":0,"text":"Off"}
{"time":1626905042.745597,"channel":1,"instance":"Wide.Counter","value":18446744073709551616,"unit":"","raw":18446744073709551615,"text":""}
{"time":1626905042.745597001,"channel":1,"instance":"Deep.Depth","value":9223372036854775808,"unit":"","raw":9223372036854775807,"text":""}
{"time":1626905043.000000,"channel":0,"instance":"Float.Single","value":null,"unit":"m,s","raw":"0x7fc00000","text":""}
{"time":1626905043.000100,"channel":0,"instance":"Float.Single","value":50,"unit":"m,s","raw":"0x42480000","text":""}
{"time":1626905043.000200,"channel":0,"instance":"Double.Value","value":null,"unit":"","raw":"0x7ff0000000000000","text":""}
{"time":1626905044.000000,"channel":0,"instance":"Engine.State","value":2,"unit":"","raw":2,"text":"two\nlines"}
{"time":1626905045.000000,"channel":0,"instance":"Engine.State","value":1,"unit":"","raw":1,"text":"On, \"hot\""}
)");
}

TEST(DecodeOutput, LastAsTable) {
    const ProgramResult result = decodeText(definitions, drive, {"--last"});
    EXPECT_EQ(result.status, Clean) << result.messages;
    EXPECT_EQ(
        result.output,
        R"(instance                      value  unit                   raw  text       channel                  time  count
Engine.Speed                   1024  rpm                   4096                   0     1626905045.000000      4
Engine.Torque                  -100  Nm                       0                   0     1626905045.000000      4
Engine.State                      1                           1  On, "hot"        0     1626905045.000000      4
Wide.Counter   18446744073709551616        18446744073709551615                   1     1626905042.745597      1
Deep.Depth      9223372036854775808         9223372036854775807                   1  1626905042.745597001      1
Float.Single                     50  m,s             0x42480000                   0     1626905043.000100      2
Double.Value                    inf          0x7ff0000000000000                   0     1626905043.000200      1
)");
}

TEST(DecodeOutput, LastAsRows) {
    const std::vector<std::string> selection = {"--last", "--signals", "Engine.S*", "--signals",
                                                "Wide.Counter"};
    std::vector<std::string> csv = selection;
    csv.insert(csv.end(), {"--format", "csv"});
    EXPECT_EQ(decodeText(definitions, drive, csv).output,
              "time,channel,instance,value,unit,raw,text,count\n"
              "1626905045.000000,0,Engine.Speed,1024,rpm,4096,,4\n"
              "1626905045.000000,0,Engine.State,1,,1,\"On, \"\"hot\"\"\",4\n"
              "1626905042.745597,1,Wide.Counter,18446744073709551616,,18446744073709551615,,1\n");
    std::vector<std::string> json = selection;
    json.insert(json.end(), {"--format", "jsonl"});
    EXPECT_EQ(
        decodeText(definitions, drive, json).output,
        R"({"time":1626905045.000000,"channel":0,"instance":"Engine.Speed","value":1024,"unit":"rpm","raw":4096,"text":"","count":4}
{"time":1626905045.000000,"channel":0,"instance":"Engine.State","value":1,"unit":"","raw":1,"text":"On, \"hot\"","count":4}
{"time":1626905042.745597,"channel":1,"instance":"Wide.Counter","value":18446744073709551616,"unit":"","raw":18446744073709551615,"text":"","count":1}
)");
}

TEST(DecodeOutput, TableColumnsAlignByCharactersNotBytes) {
    const std::string dbc = "BO_ 1 A: 8 X\n"
                            " SG_ T : 0|8@1+ (1,-40) [0|0] \"\xC2\xB0"
                            "C\" X\n"
                            " SG_ U : 8|8@1+ (1,0) [0|0] \"km\" X\n";
    EXPECT_EQ(decodeText(dbc, "(1.000000) can0 001#2A02\n", {"--last"}).output,
              "instance  value  unit  raw  text  channel      time  count\n"
              "A.T           2  \xC2\xB0"
              "C     42              0  1.000000      1\n"
              "A.U           2  km      2              0  1.000000      1\n");
}

/// A slot that has never been written holds 0xAAAAAAAA; a first value of just that is a value all the same.
TEST(DecodeOutput, TheFirstValueCountsAsChanged) {
    const std::string dbc = "BO_ 1 A: 8 X\n SG_ S : 0|32@1+ (1,0) [0|0] \"\" X\n";
    EXPECT_EQ(
        decodeText(dbc, "(1.000000) can0 001#AAAAAAAA\n(2.000000) can0 001#AAAAAAAA\n", {"--changed"}).output,
        "time,channel,instance,value,unit,raw,text\n"
        "1.000000,0,A.S,2863311530,,2863311530,\n");
}

TEST(DecodeOutput, ChannelsSelectTheirDefinitions) {
    const TemporaryFolder folder;
    const std::string left = folder.write("left.dbc", "BO_ 1 A: 1 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"l\" X\n");
    const std::string right =
        folder.write("right.dbc", "BO_ 1 A: 1 X\n SG_ S : 0|8@1+ (2,0) [0|0] \"r\" X\n");
    const std::string any = folder.write("any.dbc", "BO_ 2 B: 1 X\n SG_ S : 0|8@1+ (3,0) [0|0] \"a\" X\n");
    const std::string trace = folder.write("t.log", "(1.000000) can0 001#01\n"
                                                    "(2.000000) body 001#01\n"
                                                    "(3.000000) body 002#01\n"
                                                    "(4.000000) can2 002#01\n"
                                                    "(5.000000) can2 001#01\n"
                                                    "(6.000000) can0 00000001#01\n");
    const ProgramResult result = runIn(folder, {"decode", "--dbc", "0=" + left, "--dbc", "body=" + right,
                                                "--dbc", any, "--channel", "body=7", trace});
    EXPECT_EQ(result.output, "time,channel,instance,value,unit,raw,text\n"
                             "1.000000,0,A.S,1,l,1,\n"
                             "2.000000,7,A.S@7,2,r,1,\n"
                             "3.000000,7,B.S,3,a,1,\n"
                             "4.000000,2,B.S,3,a,1,\n");
    EXPECT_EQ(result.messages,
              "right.dbc:1: 1 of its instance names were taken, so A.S became A.S@7\n"
              "6 frames read: 4 decoded, 2 unknown, 0 remote, 0 error\n"
              "unknown: can0 00000001 (1), can2 001 (1)\n"
              "on several channels, decoded as one (--dbc CHANNEL=FILE keeps them apart): B\n");
}

/// A definition serves classic and CAN FD frames, whichever it was made for.
TEST(DecodeOutput, FdAndClassicFramesOfOneDefinition) {
    const std::string dbc =
        "BO_ 1 Classic: 8 X\n SG_ S : 56|8@1+ (1,0) [0|0] \"\" X\n"
        "BO_ 2 Fd: 64 X\n SG_ S : 56|8@1+ (1,0) [0|0] \"\" X\n SG_ T : 511|16@0+ (1,0) [0|0] \"\" X\n"
        " SG_ U : 504|8@1- (1,0) [0|0] \"\" X\n";
    std::string last62(124, '0');
    EXPECT_EQ(decodeText(dbc, "(1.000000) can0 001##10000000000000011223344556677\n"
                              "(2.000000) can0 002#0000000000000022\n"
                              "(3.000000) can0 002##1" +
                                  last62 + "12FE\n")
                  .output,
              "time,channel,instance,value,unit,raw,text\n"
              "1.000000,0,Classic.S,17,,17,\n"
              "2.000000,0,Fd.S,34,,34,\n"
              "3.000000,0,Fd.S,0,,0,\n"
              "3.000000,0,Fd.U,-2,,-2,\n");
}

TEST(DecodeOutput, SeveralTracesContinueEachOther) {
    const TemporaryFolder folder;
    const std::string dbc = folder.write("a.dbc", "BO_ 1 A: 1 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"\" X\n");
    const std::string first = folder.write("1.log", "(1.000000) can0 001#05\n");
    const std::string second = folder.write("2.log", "(2.000000) can0 001#05\nbad\n(3.000000) can0 001#06");
    const std::string target = folder.path("out.csv");
    const ProgramResult result =
        runIn(folder, {"decode", first, second, "--changed", "-o", target, "--dbc", dbc});
    EXPECT_EQ(result.status, Damaged);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(folder.read("out.csv"), "time,channel,instance,value,unit,raw,text\n"
                                      "1.000000,0,A.S,5,,5,\n"
                                      "3.000000,0,A.S,6,,6,\n");
    EXPECT_EQ(result.messages, "3 frames read: 3 decoded, 0 unknown, 0 remote, 0 error\n"
                               "1 malformed line:\n"
                               "  2.log:2: no time stamp in parentheses\n");
}

} // namespace
} // namespace rksignal
