/// \file
/// Tables of `rksignal export` as whole texts. tests/judges/tables.py compares larger ones.
#include "export/MatVariables.h"
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

class ExportCommand : public testing::Test {
  protected:
    /// Speed has a value at 0, 20 and 60 ms, Temp at 10 and 20 ms: the clock of its second frame is late.
    ExportCommand() {
        folder.write("a.dbc", R"(BO_ 256 M: 3
 SG_ Speed : 0|16@1+ (0.5,0) [0|0] "km;h"
 SG_ Gear : 16|4@1+ (1,0) [0|0] "m"
 SG_ Count : 20|4@1+ (1,0) [0|0] ""
BO_ 257 N: 1
 SG_ Temp : 0|8@1+ (1,-40) [0|0] "°C"
BO_ 258 P: 1
 SG_ Silent : 0|8@1+ (1,0) [0|0] ""
 SG_ Clock : 0|8@1+ (0.5,0) [0|0] "UTC"
VAL_ 256 Gear 5 "Fifth" ;
)");
        folder.write("t.log", R"((10.000000) can0 100#000000
(10.010000) can0 101#32
(10.020000) can0 100#C80015
(10.015000) can0 101#3C
(10.060000) can0 100#640026
)");
    }
    ProgramResult run(const std::string& options) const {
        return folder.run("rksignal export --dbc a.dbc t.log " + options);
    }

    TemporaryFolder folder;
};

TEST_F(ExportCommand, WritesOneRowATime) {
    const std::pair<const char*, const char*> rows[] = {
        {"--step 10ms --time relative --only N.Temp --only 'M.*'",
         R"(time [s],N.Temp [°C],M.Speed [km;h],M.Gear [m],M.Count
0.000000,,0,0,0
0.010000,10,0,0,0
0.020000,20,100,5,1
0.030000,20,100,5,1
0.040000,20,100,5,1
0.050000,20,100,5,1
0.060000,20,50,6,2
)"},
        {"--step 10ms --interpolate --decimal , --only 'M.*'", R"(time [s];"M.Speed [km;h]";M.Gear [m];M.Count
10,000000;0;0;0
10,010000;50;0;0
10,020000;100;5;1
10,030000;87,5;5;1
10,040000;75;5;1
10,050000;62,5;5;1
10,060000;50;6;2
)"},
        {"--step 10ms --interpolate --max-age 15ms --from +2ms --only M.Speed --separator tab --time "
         "relative",
         "time [s]\tM.Speed [km;h]\n0.012000\t\n0.022000\t100\n0.032000\t100\n0.042000\t\n0.052000\t\n"},
        {"--on N.Temp --time iso --only M.Speed --only P.Silent --format jsonl",
         R"({"time":"1970-01-01T00:00:10.010000Z","M.Speed":0,"P.Silent":null}
{"time":"1970-01-01T00:00:10.020000Z","M.Speed":100,"P.Silent":null}
)"},
        {"--on N.Temp --only M.Speed --interpolate",
         "time [s],M.Speed [km;h]\n10.010000,50\n10.020000,100\n"},
        {"--step 1us --interpolate --only M.Speed | sed 1d | cut -d , -f 2 | sort -n | uniq -c | tr -s ' '",
         " 20000 0\n 1 50\n 40000 100\n"}};
    for (const auto& [options, expected] : rows) {
        EXPECT_EQ(run(options).output, expected) << options;
    }
    EXPECT_EQ(run("--step 1us --interpolate").messages,
              R"(5 frames read: 5 decoded, 0 unknown, 0 remote, 0 error
never seen: 1 of 3 messages: P
60001 rows of 6 signals, 2 of them interpolated
no value: P.Silent, P.Clock
2 gaps between values of more than 10000 rows: held, not interpolated
1 message with an earlier time than one before: taken for the latest time so far
)");
}

TEST_F(ExportCommand, LeavesOutWhatNobodyRecorded) {
    const ProgramResult result =
        folder.run("echo '(5000.0005) can0 100#640026' >> t.log; "
                   "rksignal export --dbc a.dbc t.log --step 1ms --only M.Speed | tail -n 2");
    EXPECT_EQ(result.output, "10.059000,100\n10.060000,50\n");
    EXPECT_NE(result.messages.find(
                  "no message came for 4989940 rows from 10.061000 to 5000.000500: they are left out\n"),
              std::string::npos)
        << result.messages;
}

TEST_F(ExportCommand, RefusesWhatItCannotDo) {
    const std::pair<const char*, const char*> rows[] = {
        {"", "--step or --on says when there is a row"},
        {"--step 0ms", "--step 0ms: not a duration, such as 10ms, 500us, 2.5s or 1min"},
        {"--step 1s --max-age x", "--max-age x: not a duration, such as 10ms, 500us, 2.5s or 1min"},
        {"--on N.Tmp", "--on N.Tmp: there is no such signal; close are N.Temp"},
        {"--step 1s --separator 1", "--separator 1: not one sign that stands in no number, such as ; or tab"},
        {"--step 1s --separator , --decimal ,", "--separator and --decimal: one sign cannot be both"},
        {"--step 1s -o a.mat --decimal ,", "--separator and --decimal are for CSV only"},
        {"--step 1s -o a.mat --time iso", "--time is not for MAT-files: their times count from `start`"},
        {"--step 1s -o t.log", "the output would overwrite t.log, which is read"}};
    for (const auto& [options, message] : rows) {
        const ProgramResult result = run(options);
        EXPECT_EQ(result.messages, "rksignal: " + std::string(message) + '\n');
        EXPECT_EQ(result.status, 2);
    }
}

/// By the description of level 5: array flags, dimensions, name, numbers.
TEST_F(ExportCommand, WritesVariablesOfMatlab) {
    EXPECT_EQ(run("--step 0.5s --only M.Speed -o a.mat; tail -c 144 a.mat | od -An -v -tx4").output,
              R"( 0000000e 00000040 00000006 00000008
 00000006 00000000 00000005 00000008
 00000001 00000001 00000001 00000004
 656d6974 00000000 00000009 00000008
 00000000 00000000 0000000e 00000040
 00000006 00000008 00000006 00000000
 00000005 00000008 00000001 00000001
 00000001 00000007 70535f4d 00646565
 00000009 00000008 00000000 00000000
)");
    MatVariables variables({"time"});
    const std::pair<std::string, std::string> names[] = {{"time", "time_2"},
                                                         {"Gear.°C", "Gear___C"},
                                                         {"Gear_.,C", "Gear___C_2"},
                                                         {"1st", "x1st"},
                                                         {"end", "xend"},
                                                         {std::string(70, 'a'), std::string(63, 'a')},
                                                         {std::string(64, 'a'), std::string(61, 'a') + "_2"}};
    for (const auto& [name, variable] : names) {
        EXPECT_EQ(variables.add(name), variable);
    }
}

} // namespace
} // namespace rksignal
