/// \file
/// How `rksignal` is called: what it refuses, and standard streams.
#include "Program.h"
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

class DecodeUsage : public testing::Test {
  protected:
    DecodeUsage() {
        folder.write("a.dbc", "BO_ 1 Motor: 1\n SG_ Speed : 0|8@1+ (1,0) [0|0] \"\"\n"
                              "BO_ 2 Body: 1\n SG_ Speed : 0|8@1+ (1,0) [0|0] \"\"\n");
        folder.write("t.log", "(1.0) can0 001#05\n");
    }

    TemporaryFolder folder;
};

TEST_F(DecodeUsage, WrongCallsAreRefusedWithOneMessage) {
    const std::string help = "Run with --help for more information.\n";
    const std::pair<std::string, std::string> rows[] = {
        {"rksignal encode", "A subcommand is required\n" + help},
        {"rksignal decode t.log", "rksignal: there are no definitions: --dbc or --signals gives them\n"},
        {"rksignal decode --dbc a.dbc", "rksignal: there is no trace\n"},
        {"$decode absent.log", "rksignal: cannot open absent.log: No such file or directory\n"},
        {"$decode .", "rksignal: cannot open .: Is a directory\n"},
        {"$decode --dbc absent.dbc", "rksignal: cannot open absent.dbc: No such file or directory\n"},
        {"rksignal decode t.log --dbc /dev/null", "rksignal: no usable definition in /dev/null\n"},
        {"$decode --dbc 256=a.dbc", "rksignal: 256=a.dbc: the channel is not a number from 0 to 255\n"},
        {"$decode --dbc =a.dbc", "rksignal: =a.dbc: no channel before '='\n"},
        {"$decode --channel can0", "rksignal: --channel can0: not of the form NAME=N\n"},
        {"$decode --channel a=1x", "rksignal: --channel a=1x: the channel is not a number from 0 to 255\n"},
        {"$decode --channel a=1 --channel a=2",
         "rksignal: --channel a=2: the interface has a channel already\n"},
        {"$decode --signals 'motor.*'",
         "rksignal: --only motor.* matches no signal; close are Motor.Speed, Body.Speed\n"},
        {"$decode -o t.log", "rksignal: the output would overwrite the trace t.log\n"},
        {"$decode -o no/out", "rksignal: cannot write no/out: No such file or directory\n"},
    };
    for (const auto& [command, message] : rows) {
        const ProgramResult result = folder.run("decode='rksignal decode --dbc a.dbc t.log'; " + command);
        EXPECT_EQ(result.status, 2) << command;
        EXPECT_EQ(result.messages, message);
        EXPECT_EQ(result.output, "") << command;
        EXPECT_EQ(folder.read("t.log"), "(1.0) can0 001#05\n") << "the trace is untouched";
    }
}

TEST_F(DecodeUsage, StandardStreamsAndFiles) {
    const std::string first =
        "time,channel,bus,instance,value,unit,raw,text\n1.500000,0,can,Motor.Speed,5,,5,\n";
    const struct {
        const char* name;
        std::string command;
        std::string output, messages;
    } rows[] = {
        {"standard input", "head -n 1 t.log | rksignal decode --dbc a.dbc -", first,
         "1 frame read: 1 decoded, 0 unknown, 0 remote, 0 error\nnever seen: 1 of 2 messages: Body\n"},
        {"traces that continue each other, an output file",
         "rksignal decode t.log t.log --changed -q -o out --dbc a.dbc && cat out", first, ""},
        {"much more than a buffer holds",
         "rksignal decode -q --dbc a.dbc t.log | tail -n +2 > out; "
         "seq -f '%.0f.500000,0,can,Motor.Speed,5,,5,' 99999 | cmp - out",
         "", ""},
        {"rows are written before the program waits for more",
         "mkfifo pipe; { rksignal decode -q --dbc a.dbc - < pipe > out & }\n"
         "{ head -n 1 t.log; while [ $(wc -l < out) -lt 2 ]; do sleep 0.1; done; cat out >&3; } 3>&1 > pipe; "
         "wait",
         first, ""},
        {"the reader goes", "{ rksignal decode --dbc a.dbc t.log; echo $? >&2; } | head -n 2", first, "0\n"},
        {"the disk is full", "rksignal decode --dbc a.dbc t.log > /dev/full; echo $?", "2\n",
         "rksignal: cannot write the output: No space left on device\n"},
    };
    folder.run("seq -f '(%.0f.5) can0 001#05' 99999 > t.log");
    for (const auto& [name, command, output, messages] : rows) {
        const ProgramResult result = folder.run(command);
        EXPECT_EQ(result.status, 0) << name;
        EXPECT_EQ(result.output, output) << name;
        EXPECT_EQ(result.messages, messages) << name;
    }
}

TEST_F(DecodeUsage, ProgressIsShownOnATerminal) {
    const std::string trace = folder.path("t.log");
    std::ostringstream messages;
    runProgram({"decode", trace, trace, "--dbc", folder.path("a.dbc"), "-o", folder.path("out")},
               {-1, messages, /*interactive=*/true});
    EXPECT_EQ(
        messages.str(),
        "\r[                                        ] 0%\r[====================                    ] 50%"
        "\r[========================================] 100%\r\033[K"
        "2 frames read: 2 decoded, 0 unknown, 0 remote, 0 error\nnever seen: 1 of 2 messages: Body\n");
}

} // namespace
} // namespace rksignal
