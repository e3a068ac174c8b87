/// \file
/// What `rksignal decode` writes to its output and says about it, as whole texts.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

TEST(DecodeOutput, HasSeveralForms) {
    const TemporaryFolder folder;
    folder.write("a.dbc", R"(BO_ 256 Engine: 8
 SG_ Speed : 0|16@1+ (0.25,0) [0|0] "rpm"
 SG_ State : 28|4@1+ (1,0) [0|0] ""
BO_ 2415919105 Wide: 8
 SG_ Counter : 7|64@0+ (1,0) [0|0] ""
 SG_ Depth : 0|64@1- (0.5,0) [0|0] "°,m"
BO_ 514 Float: 4
 SG_ Single : 0|32@1- (1,0) [0|0] ""
VAL_ 256 State 0 "On,
\"hot\"" ;
VAL_ 514 Single -2 "minus two" ;
SIG_VALTYPE_ 514 Single : 1;)");
    // A slot that has never been written holds AAAAAAAA; a first value of just that is a change all the same.
    folder.write("t.log", R"((1626905042.645596) can0 100#00100080FF000000
(1626905042.745597001) can1 10000001#FFFFFFFFFFFFFFFF
(1626905043.000000) can0 202#AAAAAAAA
(1626905043.000100) can0 202#0000807F
(1626905043.000200) can0 202#000000C0
(1626905044.000000) can0 100#0010000000000000
)");
    const std::pair<const char*, const char*> rows[] = {
        {"", R"(time,channel,bus,instance,value,unit,raw,text
1626905042.645596,0,can,Engine.Speed,1024,rpm,4096,
1626905042.645596,0,can,Engine.State,8,,8,
1626905042.745597001,1,can,Wide.Counter,18446744073709551616,,18446744073709551615,
1626905042.745597001,1,can,Wide.Depth,-0.5,"°,m",-1,
1626905043.000000,0,can,Float.Single,-3.0316488252093987e-13,,0xaaaaaaaa,
1626905043.000100,0,can,Float.Single,inf,,0x7f800000,
1626905043.000200,0,can,Float.Single,-2,,0xc0000000,minus two
1626905044.000000,0,can,Engine.Speed,1024,rpm,4096,
1626905044.000000,0,can,Engine.State,0,,0,"On,
""hot"""
)"},
        {"--changed --format jsonl --only '*.State' --only Float.*",
         R"({"time":1626905042.645596,"channel":0,"bus":"can","instance":"Engine.State","value":8,"unit":"","raw":8,"text":""}
{"time":1626905043.000000,"channel":0,"bus":"can","instance":"Float.Single","value":-3.0316488252093987e-13,"unit":"","raw":"0xaaaaaaaa","text":""}
{"time":1626905043.000100,"channel":0,"bus":"can","instance":"Float.Single","value":null,"unit":"","raw":"0x7f800000","text":""}
{"time":1626905043.000200,"channel":0,"bus":"can","instance":"Float.Single","value":-2,"unit":"","raw":"0xc0000000","text":"minus two"}
{"time":1626905044.000000,"channel":0,"bus":"can","instance":"Engine.State","value":0,"unit":"","raw":0,"text":"On,\n\"hot\""}
)"},
        {"--last",
         R"(instance                     value  unit                   raw  text       channel  bus                  time  count
Engine.Speed                  1024  rpm                   4096                   0  can     1626905044.000000      2
Engine.State                     0                           0  On, "hot"        0  can     1626905044.000000      2
Wide.Counter  18446744073709551616        18446744073709551615                   1  can  1626905042.745597001      1
Wide.Depth                    -0.5  °,m                     -1                   1  can  1626905042.745597001      1
Float.Single                    -2                  0xc0000000  minus two        0  can     1626905043.000200      3
)"},
        {"--last --format csv --only '*.Speed'", "time,channel,bus,instance,value,unit,raw,text,count\n"
                                                 "1626905044.000000,0,can,Engine.Speed,1024,rpm,4096,,2\n"},
    };
    for (const auto& [options, expected] : rows) {
        EXPECT_EQ(folder.run(std::string("rksignal decode --dbc a.dbc t.log ") + options).output, expected)
            << options;
    }
}

TEST(DecodeOutput, ChannelsSelectTheirDefinitions) {
    const TemporaryFolder folder;
    folder.write("left.dbc", "BO_ 1 A: 1\n SG_ S : 0|8@1+ (1,0) [0|0] \"\"\n");
    folder.write("right.dbc", "BO_ 1 A: 1\n SG_ S : 0|8@1+ (2,0) [0|0] \"\"\n");
    folder.write("any.dbc",
                 "BO_ 1 B: 1\n SG_ S : 0|8@1+ (4,0) [0|0] \"\"\n SG_ Past : 60|8@1+ (1,0) [0|0] \"\"\n");
    folder.write("t.log", R"((1.0) can0 001#01
(2.0) body 001#01
(3.0) can2 001#01
(4.0) vcan2 001#01
(5.0) can256 001#01)");
    const ProgramResult result =
        folder.run("rksignal decode --channel body=7 --dbc 0=left.dbc --dbc body=right.dbc "
                   "--dbc 7=left.dbc --dbc any.dbc --dbc body=right.dbc t.log");
    EXPECT_EQ(result.output, R"(time,channel,bus,instance,value,unit,raw,text
1.000000,0,can,A.S,1,,1,
1.000000,0,can,B.S,4,,1,
2.000000,7,can,A.S@7,2,,1,
2.000000,7,can,A.S@7#2,1,,1,
2.000000,7,can,B.S,4,,1,
3.000000,2,can,B.S,4,,1,
4.000000,2,can,B.S,4,,1,
5.000000,1,can,B.S,4,,1,
)");
    EXPECT_EQ(result.messages, R"(right.dbc:1: 1 of its instance names were taken, so A.S became A.S@7
left.dbc:1: message A has the identifier of A, defined otherwise; frames are decoded by both
left.dbc:1: 1 of its instance names were taken, so A.S became A.S@7#2
any.dbc:3: signal B.Past is not decoded: it reaches beyond the 8 bytes of a classic frame
right.dbc:1: message A is already defined exactly so
5 frames read: 5 decoded, 0 unknown, 0 remote, 0 error
on several channels, decoded as one (--dbc CHANNEL=FILE keeps them apart): B
interfaces can2 and vcan2 are both channel 2; --channel NAME=N tells them apart
interface can256 counts as channel 1
)");
    EXPECT_NE(folder.run("rksignal convert -q t.log t.pcapng; rksignal decode --dbc any.dbc t.pcapng")
                  .messages.find("\nt.pcapng: interface 0 can0 (can) is channel 0: 1 packet\n"),
              std::string::npos);
}

/// Lines may be empty, end with CR LF or without an end, and have 8192 bytes. There can be 256 interfaces.
TEST(DecodeOutput, SummaryCountsEveryKindOfLine) {
    const TemporaryFolder folder;
    const std::string longest(8192, 'x');
    folder.write("a.dbc", R"(BO_ 1 A: 8
 SG_ Here : 0|8@1+ (1,0) [0|0] ""
 SG_ Missing : 56|8@1+ (1,0) [0|0] ""
BO_ 300 Absent: 1
 SG_ Broken : 0|8@1+ (1,0 [0|0] ""
BA_ "no end)");
    folder.write("1.log", "(a\r\n\n\r\n" + longest + "\n" + longest + "\r\n" + longest + "x\n" +
                              std::string(1'000'000, 'y') + R"(
(1.1) can1 001#R
(1.2) can1 20000004#0004000000000000
(1.3) can1 00100#81:00:12345678#1122
DROPCOUNT: dropped 1 CAN frame on 'can1' socket (total drops 1)
)");
    folder.write("2.log", "bad\nbad\nbad\n(2.0) can1 001#05\r");
    const ProgramResult result = folder.run(
        "seq -f '(1.0) can%.0f 7FF#05' 0 256 >> 1.log; for i in 00000003 403 1FFFFFFF 7FF 407 408 405 402 "
        "404 409 400; "
        "do echo \"(1.0) can1 $i#\" >> 1.log; done; rksignal decode --dbc a.dbc 1.log 2.log 2.log");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "time,channel,bus,instance,value,unit,raw,text\n2.000000,1,can,A.Here,5,,5,\n2."
                             "000000,1,can,A.Here,5,,5,\n");
    EXPECT_EQ(result.messages, R"(a.dbc:5: SG_: expected ')', found '['
a.dbc:6: BA_: expected a quoted text with an end, found '"'
272 frames read: 2 decoded, 267 unknown, 1 remote, 1 error, 1 CAN XL (not supported)
the recorder lost 1 frame
unknown: can1 7FF (2), can0 7FF (1), can1 400 (1), can1 402 (1), can1 403 (1), can1 404 (1), can1 405 (1), can1 407 (1), can1 408 (1), can1 409 (1) and 256 more
shorter than defined:
  A: 2 of 2 frames, 2 values missing
12 malformed lines, first:
  1.log:1: time stamp is not SECONDS.FRACTION with 1 to 9 decimals
  1.log:4: no time stamp in parentheses
  1.log:5: no time stamp in parentheses
  1.log:6: line is too long
  1.log:7: line is too long
  1.log:268: too many different interface names
  2.log:1: no time stamp in parentheses
  2.log:2: no time stamp in parentheses
  2.log:3: no time stamp in parentheses
  2.log:1: no time stamp in parentheses
never seen: 1 of 2 messages: Absent
)");
    const ProgramResult quiet = folder.run("rksignal decode --quiet --dbc a.dbc /dev/null");
    EXPECT_EQ(quiet.status, 1) << "the definitions are damaged";
    EXPECT_EQ(quiet.messages, result.messages.substr(0, quiet.messages.size())) << "errors are said";
    EXPECT_TRUE(quiet.messages.ends_with("found '\"'\n")) << quiet.messages;
}

} // namespace
} // namespace rksignal
