/// \file
/// `rksignal info`: what is in traces.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

constexpr const char* header =
    "bus,channel,id,form,count,first,last,cycle_ms,cycle_p1_ms,cycle_p99_ms,gap_ms,gap_at,"
    "shortest,longest,changes,names\n";

constexpr const char* traffic = "(100.000000) can0 100#0011223344556677\n"
                                "(100.010000) can0 100#0111223344556600\n"
                                "(100.010500) can1 18FEF100##1AABB\n"
                                "(100.019000) can0 100#0211223344556677\n"
                                "(100.050000) can0 100#00\n"
                                "(100.049000) can0 100#00\n"
                                "(101.000000) can0 100#R\n";

struct InfoCommand : testing::Test {
    InfoCommand() { folder.write("t.log", traffic); }
    TemporaryFolder folder;
};

TEST_F(InfoCommand, TellsEachIdentity) {
    folder.write("a.dbc", "BO_ 256 Engine: 8 X\nBO_ 257 Other: 8 X\n");
    folder.write("b.dbc", "BO_ 2566844672 Speed: 2 X\n");
    EXPECT_EQ(folder.run("rksignal info -q --format csv t.log b.dbc --dbc a.dbc").output,
              header +
                  std::string(
                      "can,0,100,standard,5,100.000000,100.049000,10,9,31,31,100.019000,1,8,\"0,7\",Engine\n"
                      "can,1,18FEF100,fd extended,1,100.010500,100.010500,,,,,,2,2,,Speed\n"));
    EXPECT_EQ(
        folder.run("rksignal info t.log a.dbc b.dbc --sort shortest --time relative --from +0.002").output,
        R"(t.log: a candump log, 6 messages
6 messages, 1 remote
from 0.010000 (1970-01-01T00:01:40.010000Z) to 1.000000 (1970-01-01T00:01:41.000000Z), 0.990000 s

bus  channel  messages  messages/s  bytes/s  load  with stuff bits
can        0         4           4     18.2
can        1         1           1        2

definitions  messages  identifiers seen  of all  lengths agree  frames covered
b.dbc               1                 1    50 %              1            20 %
a.dbc               2                 1    50 %              0             0 %

bus  channel  id        form         count     first      last  cycle_ms  cycle_p1_ms  cycle_p99_ms  gap_ms    gap_at  shortest  longest  changes  names
can        1  18FEF100  fd extended      1  0.010500  0.010500                                                                2        2           Speed
can        0  100       standard         4  0.010000  0.049000         9            9            31      31  0.019000         1        8  0,7      Engine
)");
}

/// The bits of frames by hand: 8 bytes with 11 bits of identifier take 111 bits, at most 24 stuff bits more,
/// one byte 55 and at most 10.
TEST_F(InfoCommand, ComputesTheLoad) {
    const auto all =
        nlohmann::json::parse(folder.run("rksignal info --format json --bitrate 1k t.log").output);
    EXPECT_EQ(all["channels"][0]["load"], (3 * 111 + 2 * 55) / 1000.0);
    EXPECT_EQ(all["channels"][0]["load_with_stuff_bits"], (3 * 135 + 2 * 65) / 1000.0);
    EXPECT_EQ(all["duration"], 1);
    EXPECT_EQ(all["frames"][1]["id"], "18FEF100");
    EXPECT_EQ(folder.run("rksignal info --bitrate 5x t.log").status, 2);
}

TEST_F(InfoCommand, CountsWhatAwkCounts) {
    const char* const recordings = std::getenv("RKSIGNAL_RECORDINGS");
    if (recordings == nullptr) {
        GTEST_SKIP() << "RKSIGNAL_RECORDINGS is not set";
    }
    std::size_t compared = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(recordings)) {
        if (!entry.path().native().ends_with(".candump.log") &&
            !entry.path().filename().native().starts_with("candump-")) {
            continue;
        }
        const std::string log = " '" + entry.path().native() + "'";
        const ProgramResult ours = folder.run("rksignal info -q --format csv" + log +
                                              " | awk -F, 'NR > 1 { print $3, $2, $5, $6, $7 }' | sort");
        const ProgramResult theirs = folder.run(
            R"(awk '/^\([0-9]/ && $3 !~ /#R/ { split($3, f, "#"); k = f[1] " " substr($2, 4); t = substr($1, 2, length($1) - 2);
                if (!(k in n)) a[k] = t; n[k]++; b[k] = t } END { for (k in n) print k, n[k], a[k], b[k] }' )" +
            log + " | sort");
        EXPECT_EQ(ours.output, theirs.output) << log;
        compared += ours.output.size();
    }
    EXPECT_GT(compared, 10'000U);
}

} // namespace
} // namespace rksignal
