/// \file
/// Windows of time, and the forms in which times are shown.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

const std::string header = "rksignal decode --dbc a.dbc a.log b.log ";

/// The values that are written: each is the number of its frame.
std::string valuesOf(const std::string& rows) {
    std::string values;
    forEachRow(rows, [&](const nlohmann::json& row, const std::string&, const std::string&) {
        values += row["value"].dump() + " ";
    });
    return values;
}

struct TimeOptions : testing::Test {
    TimeOptions() {
        folder.write("a.dbc", "BO_ 1 M: 1 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"\" X\n");
        folder.write("a.log", "(100.5) can0 001#01\n(101.0) can0 001#02\n(100.9) can0 001#03\n"
                              "(120.0) can0 001#06\n(100.6) can0 001#07\n");
        folder.write("b.log", "(102.0) can0 001#04\n(112.0) can0 001#05\n");
    }
    TemporaryFolder folder;
};

TEST_F(TimeOptions, ChooseMessagesByTheirOwnTime) {
    const struct {
        const char* options;
        const char* expected;
    } rows[] = {
        {"", "1 2 3 4 5 6 7 "},
        {"--from 101", "2 4 5 6 "},
        {"--from 100.6 --to 101", "2 3 "}, // the last frame stands behind one that is 19 seconds later
        {"--to +0.4", "1 3 "},
        {"--from +0.4s --for 1100ms", "2 3 4 "},
        {"--for 0.5", "1 2 3 "},
        {"--to 112 --for 10", "4 5 "},
        {"--from 1970-01-01T01:01:42+01:00", "4 5 6 "},
        {"--to 50", ""},
    };
    for (const auto& [options, expected] : rows) {
        EXPECT_EQ(valuesOf(folder.run(header + "-q --format jsonl " + options).output), expected) << options;
    }
    EXPECT_EQ(folder.run(header + "--last --to 101").messages,
              "3 frames read: 3 decoded, 0 unknown, 0 remote, 0 error\n"
              "outside the window of time: 2 messages; behind it the traces were not read further\n");
    EXPECT_EQ(
        folder.run(header + "-q --last --to 50").messages,
        "warning: no message lies in the window of --from, --to and --for; the first one is of 100.500000, "
        "the last one that was read of 120.000000\n");
    EXPECT_EQ(folder.run(header + "--for 1 --from 1 --to 2").messages,
              "rksignal: --from, --to and --for: two of them say it all\n");
}

TEST_F(TimeOptions, ShowTimes) {
    EXPECT_EQ(folder.run(header + "-q --from 112 --to 113 --time iso --format jsonl").output,
              R"({"time":"1970-01-01T00:01:52.000000Z","channel":0,"bus":"can","instance":"M.S","value":5,)"
              "\"unit\":\"\",\"raw\":5,\"text\":\"\"}\n");
    EXPECT_EQ(folder.run(header + "-q --from 112 --to 113 --time relative --format jsonl --last").output,
              R"({"time":11.500000,"channel":0,"bus":"can","instance":"M.S","value":5,"unit":"","raw":5,)"
              "\"text\":\"\",\"count\":1}\n");
    EXPECT_EQ(folder
                  .run("rksignal trigger -q --dbc a.dbc a.log b.log --when 'x=M.S > 4' --explain --at +1 "
                       "--timeout 1 --time relative --to +2")
                  .output,
              "1.000000 x\nM.S > 4: false\n  M.S: 3\n\n");
}

} // namespace
} // namespace rksignal
