/// \file
/// `rksignal compare`: what differs.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

TEST(CompareCommand, ComparesTraces) {
    TemporaryFolder folder;
    folder.write("a.dbc", "BO_ 256 M: 2 X\n SG_ A : 0|8@1+ (0.5,0) [0|0] \"\" X\n");
    folder.write("a.log",
                 "(1.000) can0 100#0102\n(1.010) can0 100#0102\n(1.020) can0 100#0102\n(1.1) can1 07F#\n");
    folder.write("b.log", "(5.000) can0 100#0302\n(5.020) can0 100#010204\n(5.040) can0 100#0102\n");
    const ProgramResult result = folder.run("rksignal compare --dbc a.dbc a.log b.log");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "can 0 100: cycle_ms 10 -> 20\n"
                             "can 0 100: longest 2 -> 3\n"
                             "can 0 100: changes \"\" -> \"0\"\n"
                             "only in a.log: can 1 07F\n"
                             "M.A: maximum 0.5 -> 1.5\n");
    EXPECT_EQ(result.messages, "differences: 5\n");
    EXPECT_EQ(
        folder
            .run("rksignal compare --from +0.015 --for 0.01 --dbc a.dbc --tolerance 20 -q --format json "
                 "a.log b.log")
            .output,
        R"({"kind":"traces","left":"a.log","right":"b.log","differences":[)"
        R"({"object":"can 0 100","property":"shortest","left":2,"right":3},)"
        R"({"object":"can 0 100","property":"longest","left":2,"right":3}]})"
        "\n");
    EXPECT_EQ(folder.run("rksignal compare a.log a.log").status, 0);
    folder.write("bad.log", "(1.0) can0 200#0\n");
    EXPECT_EQ(folder.run("rksignal compare bad.log bad.log").status, 2);
    EXPECT_EQ(folder.run("rksignal compare a.log a.dbc").messages,
              "rksignal: a.log and a.dbc: one is a definition file, the other one is not\n");
}

TEST(CompareCommand, ComparesDefinitionsFieldByField) {
    TemporaryFolder folder;
    folder.write(
        "a.dbc",
        "BO_ 256 Engine: 8 X\n SG_ A : 0|8@1+ (0.5,0) [0|9] \"rpm\" X\n SG_ B : 8|8@1+ (1,0) [0|0] \"\" X\n"
        "BO_ 257 Other: 8 X\nVAL_ 256 A 0 \"off\" 1 \"on\" ;\n");
    folder.write("b.dbc", "BO_ 3 New: 1 X\nBO_ 256 Engine: 6 X\n SG_ A : 7|8@0- (0.25,1) [0|9] \"1/s\" X\n"
                          "SG_ C : 8|8@1+ (1,0) [0|0] \"\" X\n"
                          "BO_ 257 Same: 8 X\nVAL_ 256 A 1 \"ON\" ;\n");
    const ProgramResult result =
        folder.run("rksignal convert -q a.dbc a.json; rksignal compare -q a.json b.dbc");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, R"(can 100 Engine: length 8 -> 6
can 100 Engine A: endian "little" -> "big"
can 100 Engine A: offset 0 -> 1
can 100 Engine A: scale 0.5 -> 0.25
can 100 Engine A: startbit 0 -> 7
can 100 Engine A: type "unsigned" -> "signed"
can 100 Engine A: unit "rpm" -> "1/s"
can 100 Engine A: valueDescriptions 0 "off" -> none
can 100 Engine A: valueDescriptions 1 "on" -> "ON"
only in a.json: can 100 Engine B
only in b.dbc: can 100 Engine C
can 101 Other: name "Other" -> "Same"
only in b.dbc: can 003 New
)");
    EXPECT_EQ(folder.run("rksignal compare -q a.dbc a.json").status, 0);
}

} // namespace
} // namespace rksignal
