/// \file
/// The built program as a process: standard streams and exit status.
#include "tools/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

namespace rksignal {
namespace {

/// Runs a shell command in which `rksignal` is the program. \return its exit status
int shell(const std::string& command) {
    const int status =
        std::system(("rksignal() { '" RKSIGNAL_PROGRAM "' \"$@\"; }\n" + command).c_str()); // NOLINT
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class Program : public testing::Test {
  protected:
    Program() {
        folder.write("a.dbc", "BO_ 1 A: 8 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"\" X\n");
        std::string trace;
        for (int i = 0; i < 100'000; ++i) {
            trace += "(1.000000) can0 001#05\n";
        }
        folder.write("t.log", trace);
    }

    TemporaryFolder folder;
};

TEST_F(Program, ReadsStandardInput) {
    EXPECT_EQ(shell("cd '" + folder.path("") +
                    "' && head -n 2 t.log | rksignal decode --dbc a.dbc - > out 2> messages"),
              0);
    EXPECT_EQ(folder.read("out"), "time,channel,instance,value,unit,raw,text\n"
                                  "1.000000,0,A.S,5,,5,\n1.000000,0,A.S,5,,5,\n");
    EXPECT_EQ(folder.read("messages"), "2 frames read: 2 decoded, 0 unknown, 0 remote, 0 error\n"
                                       "shorter than defined:\n  A: 2 of 2 frames, 0 values missing\n");
}

TEST_F(Program, WritesWhatAPipeHasGivenBeforeItWaitsForMore) {
    EXPECT_EQ(
        shell(
            "cd '" + folder.path("") +
            "' && mkfifo pipe && { rksignal decode -q --dbc a.dbc - < pipe > out & } &&\n"
            "{ head -n 3 t.log; for i in $(seq 100); do sleep 0.1; [ $(wc -l < out) -ge 4 ] && break; done;\n"
            "  cat out > seen; } > pipe; wait"),
        0);
    EXPECT_EQ(folder.read("seen"), "time,channel,instance,value,unit,raw,text\n1.000000,0,A.S,5,,5,\n"
                                   "1.000000,0,A.S,5,,5,\n1.000000,0,A.S,5,,5,\n");
}

TEST_F(Program, EndsQuietlyWhenTheReaderGoes) {
    EXPECT_EQ(
        shell("cd '" + folder.path("") +
              "' && { rksignal decode --dbc a.dbc t.log 2> messages; echo $? > status; } | head -n 1 > out"),
        0);
    EXPECT_EQ(folder.read("status"), "0\n");
    EXPECT_EQ(folder.read("messages"), "");
    EXPECT_EQ(folder.read("out"), "time,channel,instance,value,unit,raw,text\n");
}

TEST_F(Program, SaysThatTheOutputIsFull) {
    EXPECT_EQ(
        shell("cd '" + folder.path("") + "' && rksignal decode --dbc a.dbc t.log > /dev/full 2> messages"),
        2);
    EXPECT_EQ(folder.read("messages"), "rksignal: cannot write the output: No space left on device\n");
}

TEST_F(Program, HelpAndVersionAreOutput) {
    EXPECT_EQ(
        shell("cd '" + folder.path("") + "' && rksignal --version > out && rksignal decode --help >> out"),
        0);
    EXPECT_EQ(folder.read("out").rfind("rksignal 0.", 0), 0U);
    EXPECT_NE(folder.read("out").find("--dbc [CHANNEL=]FILE"), std::string::npos);
}

} // namespace
} // namespace rksignal
