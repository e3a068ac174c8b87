/// \file
/// `rksignal trigger` as a whole: what it writes, and how it ends.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace rksignal {
namespace {

constexpr const char* definitions = R"(BO_ 256 Engine: 8 ECU
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
                              "(100.010000) can0 200#0200\n"   // fast: true
                              "(100.020000) can1 100#E12E\n"   // still true, with another speed
                              "(100.030000) can0 100#E12E\n"   // nothing has changed
                              "(100.040000) can0 300#000500\n" // not the branch of Right
                              "(101.000000) can0 100#0000\n"
                              "(101.500000) can0 100#F02E\n"
                              "(102.000000) can0 300#0105\n" // too short for Right
                              "(103.000000) can0 300#010501\n";

constexpr const char* fast = "fast=Engine.Speed >= 3000 && Gear.Lever == 2";

struct TriggerCommand : testing::Test {
    /// Arguments that start with `@` are files of the folder.
    ProgramResult trigger(std::vector<std::string> arguments, const std::string& trace = drive) {
        folder.write("a.dbc", definitions);
        folder.write("t.log", trace);
        arguments.insert(arguments.begin(), {"trigger", "@t.log", "--dbc", "@a.dbc"});
        for (std::string& argument : arguments) {
            argument = argument.starts_with('@') ? folder.path(argument.substr(1)) : argument;
        }
        return runIn(folder, arguments);
    }

    std::set<std::string> windows() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path("w"))) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    TemporaryFolder folder;
};

TEST_F(TriggerCommand, OneRowAFiring) {
    const ProgramResult result = trigger({"--when", fast, "--when", "Mux.Right > 0 || Gear.Lever == 2"});
    EXPECT_EQ(result.output, R"(time,channel,condition,signals
100.010000,0,fast,Engine.Speed=3000 rpm (0.01); Gear.Lever=2 (0)
100.010000,0,Mux.Right > 0 || Gear.Lever == 2,Gear.Lever=2 (0); Mux.Right=unknown
100.020000,1,fast,Engine.Speed=3000.25 rpm (0); Gear.Lever=2 (0.01)
101.500000,0,fast,Engine.Speed=3004 rpm (0); Gear.Lever=2 (1.49)
103.000000,0,Mux.Right > 0 || Gear.Lever == 2,Gear.Lever=2 (2.99); Mux.Right=261 (0)
)");
    EXPECT_EQ(result.messages, R"(9 frames read: 9 decoded, 0 unknown, 0 remote, 0 error
shorter than defined:
  Engine: 5 of 5 frames, 0 values missing
  Mux: 1 of 3 frames, 1 value missing
on several channels, decoded as one (--dbc CHANNEL=FILE keeps them apart): Engine
fast: evaluations 5, true 3, false 1, unknown 1, firings 3
Mux.Right > 0 || Gear.Lever == 2: evaluations 2, true 2, false 0, unknown 0, firings 2
)");
    EXPECT_EQ(result.status, 0);
}

TEST_F(TriggerCommand, JsonLinesOfChangesToTrueAfterATimeout) {
    const ProgramResult result =
        trigger({"--when", fast, "--when", "gone=Gear.Lever == 2 || Engine.Speed > 3000", "--edge",
                 "--timeout", "1", "--format", "jsonl", "-q"});
    EXPECT_EQ(
        result.output,
        R"({"time":100.010000,"channel":0,"condition":"fast","signals":[{"instance":"Engine.Speed","value":3000,"unit":"rpm","age":0.01},{"instance":"Gear.Lever","value":2,"unit":"","age":0}]}
{"time":100.010000,"channel":0,"condition":"gone","signals":[{"instance":"Engine.Speed","value":3000,"unit":"rpm","age":0.01},{"instance":"Gear.Lever","value":2,"unit":"","age":0}]}
)");
    EXPECT_EQ(result.messages, "");
    // Gear.Lever is unknown a second after 100.01, with no frame: what is true nevertheless fires at that
    // time.
    EXPECT_EQ(trigger({"--when", "any=Gear.Lever == 2 || Engine.Speed < 1", "--timeout", "1", "-q"}).output,
              "time,channel,condition,signals\n"
              "100.010000,0,any,Engine.Speed=3000 rpm (0.01); Gear.Lever=2 (0)\n"
              "100.020000,1,any,Engine.Speed=3000.25 rpm (0); Gear.Lever=2 (0.01)\n"
              "101.000000,0,any,Engine.Speed=0 rpm (0); Gear.Lever=2 (0.99)\n"
              "101.010000,,any,Engine.Speed=0 rpm (0.01); Gear.Lever=unknown\n");
}

TEST_F(TriggerCommand, ExplainsFiringsAndMoments) {
    EXPECT_EQ(trigger({"--when", "Mux.Right > 0", "--explain", "--at", "103.5", "--at", "100.035", "--at",
                       "100.5", "--at", "102.5", "--timeout", "1.5"})
                  .output,
              R"(100.035000 Mux.Right > 0
Mux.Right > 0: unknown
  Mux.Right: unknown (never seen)

100.500000 Mux.Right > 0
Mux.Right > 0: unknown
  Mux.Right: unknown (branch inactive)

102.500000 Mux.Right > 0
Mux.Right > 0: unknown
  Mux.Right: unknown (frame too short)

103.000000 Mux.Right > 0 fires, channel 0
Mux.Right > 0: true
  Mux.Right: 261

103.500000 Mux.Right > 0
Mux.Right > 0: true
  Mux.Right: 261

)");
    EXPECT_EQ(trigger({"--when", fast, "--at", "101.9", "--timeout", "1.5"}).output,
              R"(101.900000 fast
Engine.Speed >= 3000 && Gear.Lever == 2: unknown
  Engine.Speed >= 3000: true
    Engine.Speed: 3004 rpm
  Gear.Lever == 2: unknown
    Gear.Lever: unknown (timed out, last seen at 100.010000)

)");
}

TEST_F(TriggerCommand, OverlappingWindowsHaveAFileEach) {
    const ProgramResult result = trigger({"--when", fast, "--window", "0.01,0.99", "--to", "@w"});
    EXPECT_EQ(windows(), (std::set<std::string>{"fast-1.csv", "fast-2.csv", "fast-3.csv"}));
    const std::string head = "time,channel,instance,value,unit,raw,text\n";
    const std::string both = "100.010000,0,Gear.Lever,2,,2,Drive\n"
                             "100.020000,1,Engine.Speed,3000.25,rpm,12001,\n"
                             "100.030000,0,Engine.Speed,3000.25,rpm,12001,\n"
                             "100.040000,0,Mux.Selector,0,,0,\n"
                             "100.040000,0,Mux.Left,5,,5,\n"
                             "101.000000,0,Engine.Speed,0,rpm,0,\n";
    EXPECT_EQ(folder.read("w/fast-1.csv"), head + "100.000000,0,Engine.Speed,3000,rpm,12000,\n" + both);
    EXPECT_EQ(folder.read("w/fast-2.csv"), head + both);
    EXPECT_EQ(folder.read("w/fast-3.csv"), head + "101.500000,0,Engine.Speed,3004,rpm,12016,\n"
                                                  "102.000000,0,Mux.Selector,1,,1,\n");
    EXPECT_NE(result.messages.find("windows written to w: 3\n"), std::string::npos) << result.messages;
}

TEST_F(TriggerCommand, ASetBackClockStartsWindowsAndTimeoutsAnew) {
    const std::string log =
        "(500.0) can0 200#0200\n(500.5) can0 100#E02E\n(10.0) can0 100#E12E\n(11.5) can0 100#E02E\n";
    EXPECT_EQ(
        trigger({"--when", fast, "--timeout", "1.2", "--window", "1,9", "--to", "@w", "-q"}, log).output,
        "time,channel,condition,signals\n"
        "500.500000,0,fast,Engine.Speed=3000 rpm (0); Gear.Lever=2 (0.5)\n"
        "10.000000,0,fast,Engine.Speed=3000.25 rpm (0); Gear.Lever=2 (-490)\n");
    EXPECT_EQ(folder.read("w/fast-2.csv"), "time,channel,instance,value,unit,raw,text\n"
                                           "10.000000,0,Engine.Speed,3000.25,rpm,12001,\n"
                                           "11.500000,0,Engine.Speed,3000,rpm,12000,\n");
}

TEST_F(TriggerCommand, StatusAndMessages) {
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        int status;
        std::string messages;
    } rows[] = {
        {"NothingFired", {"--when", "Gear.Lever == 3"}, 1, ""},
        {"DamagedTrace", {"--when", fast, "@bad.log"}, 2, ""},
        {"NoCondition", {}, 2, "rksignal: no condition: --when or --when-file gives them\n"},
        {"UnknownSignal",
         {"--when", "Gear.Lewer == 3"},
         2,
         "--when 'Gear.Lewer == 3': error: there is no signal Gear.Lewer; close are Gear.Lever, Mux.Left, "
         "Engine.Speed\nrksignal: not all conditions can be used\n"},
        {"UnknownAllowed", {"--when", "Gear.Lewer + Gear.Lever == 2", "--allow-unknown"}, 0, ""},
        {"BadWindow",
         {"--when", fast, "--window", "5", "--to", "@w"},
         2,
         "rksignal: --window 5: not of the form BEFORE,AFTER\n"},
        {"BadTime",
         {"--when", fast, "--at", "x"},
         2,
         "rksignal: --at x: not seconds with at most 9 decimals\n"},
        {"FolderIsAFile",
         {"--when", fast, "--window", "1,1", "--to", "@t.log/w"},
         2,
         "rksignal: filesystem error: cannot create directories: Not a directory [t.log/w]\n"},
    };
    folder.write("bad.log", "(1.0) can0 200#0\n");
    for (const auto& row : rows) {
        std::vector<std::string> arguments = row.arguments;
        arguments.emplace_back("-q");
        const ProgramResult result = trigger(arguments);
        EXPECT_EQ(result.status, row.status) << row.name << result.messages;
        EXPECT_EQ(result.messages, row.messages) << row.name;
    }
}

} // namespace
} // namespace rksignal
