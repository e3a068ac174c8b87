/// \file
/// `rksignal trigger` as a whole: what it writes, and how it ends.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

constexpr const char* definitions = R"(BO_ 256 Engine: 2 ECU
 SG_ Speed : 0|16@1+ (0.25,0) [0|0] "rpm" X
BO_ 512 Gear: 2 ECU
 SG_ Lever : 0|8@1+ (1,0) [0|0] "" X
BO_ 768 Mux: 3 ECU
 SG_ Selector M : 0|8@1+ (1,0) [0|0] "" X
 SG_ Left m0 : 8|8@1+ (1,0) [0|0] "" X
 SG_ Right m1 : 8|16@1+ (1,0) [0|0] "" X
VAL_ 512 Lever 0 "Park" 2 "Drive" ;
)";

constexpr const char* drive = "(100.000000) can0 100#E02E\n"
                              "(100.010000) can0 200#0200\n"   // fast is true
                              "(100.020000) can1 100#E12E\n"   // and again, with another speed
                              "(100.030000) can0 100#E12E\n"   // nothing has changed
                              "(100.040000) can0 300#000500\n" // not the branch of Right
                              "(101.000000) can0 100#0000\n"
                              "(101.500000) can0 100#F02E\n"
                              "(102.000000) can0 300#0105\n" // too short for Right
                              "(103.000000) can0 300#010501\n";

const std::string fast = "--when 'fast=Engine.Speed >= 3000 && Gear.Lever == 2' ";
const std::string rows = "time,channel,bus,condition,signals\n";

struct TriggerCommand : testing::Test {
    ProgramResult trigger(const std::string& arguments, const std::string& trace = drive) {
        folder.write("a.dbc", definitions);
        folder.write("t.log", trace);
        return folder.run("rksignal trigger t.log --dbc a.dbc " + arguments);
    }

    TemporaryFolder folder;
};

TEST_F(TriggerCommand, WritesARowAFiring) {
    const ProgramResult result = trigger(fast + "--when 'Mux.Right > 0 || Gear.Lever == 2'");
    EXPECT_EQ(result.output, rows + R"(100.010000,0,can,fast,Engine.Speed=3000 rpm (0.01); Gear.Lever=2 (0)
100.010000,0,can,Mux.Right > 0 || Gear.Lever == 2,Gear.Lever=2 (0); Mux.Right=unknown
100.020000,1,can,fast,Engine.Speed=3000.25 rpm (0); Gear.Lever=2 (0.01)
101.500000,0,can,fast,Engine.Speed=3004 rpm (0); Gear.Lever=2 (1.49)
103.000000,0,can,Mux.Right > 0 || Gear.Lever == 2,Gear.Lever=2 (2.99); Mux.Right=261 (0)
)");
    EXPECT_EQ(result.messages, R"(9 frames read: 9 decoded, 0 unknown, 0 remote, 0 error
shorter than defined:
  Mux: 1 of 3 frames, 1 value missing
on several channels, decoded as one (--dbc CHANNEL=FILE keeps them apart): Engine
fast: evaluations 5, true 3, false 1, unknown 1, firings 3
Mux.Right > 0 || Gear.Lever == 2: evaluations 2, true 2, false 0, unknown 0, firings 2
)");
    EXPECT_EQ(
        trigger("--when 'fast=Engine.Speed >= 3000 && Gear.Lever == 2 && Mux.Left == 5' --edge --timeout 1 "
                "--format jsonl -q")
            .output,
        R"({"time":100.040000,"channel":0,"bus":"can","condition":"fast","signals":[{"instance":"Engine.Speed","value":3000.25,"unit":"rpm","age":0.01},{"instance":"Gear.Lever","value":2,"unit":"","age":0.03},{"instance":"Mux.Left","value":5,"unit":"","age":0}]}
)");
}

TEST_F(TriggerCommand, ATimeoutIsAChangeWithoutAFrame) {
    EXPECT_EQ(trigger("--when 'x=Gear.Lever == 2 || Engine.Speed < 1' --timeout 1 -q").output,
              rows + "100.010000,0,can,x,Engine.Speed=3000 rpm (0.01); Gear.Lever=2 (0)\n"
                     "100.020000,1,can,x,Engine.Speed=3000.25 rpm (0); Gear.Lever=2 (0.01)\n"
                     "101.000000,0,can,x,Engine.Speed=0 rpm (0); Gear.Lever=2 (0.99)\n"
                     "101.010000,,,x,Engine.Speed=0 rpm (0.01); Gear.Lever=unknown\n");
}

TEST_F(TriggerCommand, ExplainsFiringsAndMoments) {
    EXPECT_EQ(trigger("--when 'right=Mux.Right > 0' --explain --at 102.5 --at 100 --at 101").output,
              R"(100.000000 right
Mux.Right > 0: unknown
  Mux.Right: unknown (never seen)

101.000000 right
Mux.Right > 0: unknown
  Mux.Right: unknown (branch inactive)

102.500000 right
Mux.Right > 0: unknown
  Mux.Right: unknown (frame too short)

103.000000 right fires, can channel 0
Mux.Right > 0: true
  Mux.Right: 261

)");
    EXPECT_EQ(trigger(fast + "--at 101.9 --timeout 1.5").output, R"(101.900000 fast
Engine.Speed >= 3000 && Gear.Lever == 2: unknown
  Engine.Speed >= 3000: true
    Engine.Speed: 3004 rpm
  Gear.Lever == 2: unknown
    Gear.Lever: unknown (timed out, last seen at 100.010000)

)");
}

TEST_F(TriggerCommand, OverlappingWindowsHaveAFileEachAndAClockSetBackEndsThem) {
    trigger(fast + "--timeout 1.5 --window 0.01,0.99 --to w --frames log", // as it was called before
            drive + std::string("(9.0) can0 200#0200\n(10.0) can0 100#E02E\n(10.5) can0 100#E02E\n"));
    const std::string both =
        "100.010000,0,can,Gear.Lever,2,,2,Drive\n100.020000,1,can,Engine.Speed,3000.25,rpm,12001,\n"
        "100.030000,0,can,Engine.Speed,3000.25,rpm,12001,\n100.040000,0,can,Mux.Selector,0,,0,\n"
        "100.040000,0,can,Mux.Left,5,,5,\n101.000000,0,can,Engine.Speed,0,rpm,0,\n";
    EXPECT_EQ(folder.read("w/fast-1.csv"),
              valueHeader + "100.000000,0,can,Engine.Speed,3000,rpm,12000,\n" + both);
    EXPECT_EQ(folder.read("w/fast-2.csv"), valueHeader + both);
    EXPECT_EQ(folder.read("w/fast-2.log"),
              "(100.010000) can0 200#0200\n(100.020000) can1 100#E12E\n(100.030000) can0 100#E12E\n"
              "(100.040000) can0 300#000500\n(101.000000) can0 100#0000\n");
    EXPECT_EQ(folder.read("w/fast-4.log"), "(9.000000) can0 200#0200\n");
    EXPECT_EQ(folder.read("w/fast-4.csv"), valueHeader + "9.000000,0,can,Gear.Lever,2,,2,Drive\n");
    EXPECT_EQ(
        folder.read("w/fast-5.csv"),
        valueHeader +
            "10.000000,0,can,Engine.Speed,3000,rpm,12000,\n10.500000,0,can,Engine.Speed,3000,rpm,12000,\n");
}

TEST_F(TriggerCommand, StatusIsThatOfGrep) {
    folder.write("bad.log", "(1.0) can0 200#0\n");
    const auto expect = [this](int status, const std::string& arguments, const std::string& messages) {
        const ProgramResult result = trigger(arguments + " -q");
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.messages, messages);
    };
    expect(0, "--when 'Gear.Lewer + Gear.Lever == 2' --allow-unknown", "");
    expect(1, "--when 'Gear.Lever == 3'", "");
    expect(2, fast + "bad.log", "1 malformed line:\n  bad.log:1: odd number of data digits\n");
    expect(2, "", "rksignal: no condition: --when or --when-file gives them\n");
    expect(2, "--when 'Gear.Lewer == 3'",
           "--when 'Gear.Lewer == 3': error: there is no signal Gear.Lewer; close are Gear.Lever\n"
           "rksignal: not all conditions can be used\n");
    expect(
        2, "--when 'Gear.Lever=50 && Engine.Speed>1'",
        "--when Gear.Lever: error: the name Gear.Lever is that of a signal; to compare it write 'Gear.Lever "
        "== 50 && Engine.Speed>1', to name the condition write 'OTHER_NAME = 50 && Engine.Speed>1'\n"
        "rksignal: not all conditions can be used\n");
    expect(2, fast + "--window 5 --windows w", "rksignal: --window 5: not of the form BEFORE,AFTER\n");
    expect(2, fast + "--window 5,1 --to 100", "rksignal: --window requires --windows\n");
    expect(2, fast + "--at x",
           "rksignal: --at x: not a time, such as 1700000012.5 (with at most 9 decimals), +12.5s (since the "
           "start), "
           "2026-11-22T10:00:00+01:00 or 2026-11-22T09:00:00Z\n");
}

} // namespace
} // namespace rksignal
