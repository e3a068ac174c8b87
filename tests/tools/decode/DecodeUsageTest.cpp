/// \file
/// How `rksignal` is called: what it refuses, and standard streams.
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
        {"rksignal encode", "rksignal: there is no command encode; close are decode\n" + help},
        {"rksignal -- x", "A subcommand is required\n" + help},
        {"rksignal decode t.log", "rksignal: there are no definitions: --definitions gives them\n"},
        {"rksignal decode --dbc a.dbc", "rksignal: there is no trace\n"},
        {"$decode absent.log", "rksignal: cannot open absent.log: No such file or directory\n"},
        {"$decode .", "rksignal: cannot open .: Is a directory\n"},
        {"$decode --dbc absent.dbc", "rksignal: cannot open absent.dbc: No such file or directory\n"},
        {"rksignal decode t.log --dbc /dev/null",
         "rksignal: /dev/null is an empty file, not a file of definitions\n"},
        {"$decode --dbc 256=a.dbc", "rksignal: 256=a.dbc: the channel is not a number from 0 to 255\n"},
        {"$decode --dbc =a.dbc", "rksignal: =a.dbc: no channel before '='\n"},
        {"$decode --channel can0", "rksignal: --channel can0: not of the form NAME=N\n"},
        {"$decode --channel a=1x", "rksignal: --channel a=1x: the channel is not a number from 0 to 255\n"},
        {"$decode --channel a=1 --channel a=2",
         "rksignal: --channel a=2: the interface has a channel already\n"},
        {"$decode --signals 'motor.*'",
         "rksignal: motor.*: no such file of definitions; --only takes patterns\n"},
        {"$decode --only 'motor.*'", "rksignal: --only motor.* matches no signal; close are Motor.Speed\n"},
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

TEST_F(DecodeUsage, DefinitionsForChannelsThatDoNotComeAreSaid) {
    folder.write("t.log", "(1.0) can0 001#05\n(1.0) can1 001#05\n(1.0) can1 002#05\n");
    folder.run("rksignal convert -q t.log t.rktrace");
    const std::string absent = "warning: the options name an interface ";
    const std::string misplaced = "messages defined for it came on others: Motor (can0, can1), Body (can1)\n";
    const struct {
        std::string arguments;
        int status;
        std::string messages; ///< of the summary, behind the frames that never came
    } rows[] = {
        {"t.log --dbc can1=a.dbc", 0, ""},
        {"t.rktrace --channel body=1 --dbc body=a.dbc", 0, ""},
        {"t.rktrace --dbc can7=a.dbc", 1,
         "no frame came on can7; messages defined for it came on others: Motor (channel 0, channel 1), Body "
         "(channel 1)\n" +
             absent + "can7, which no trace has\n"},
        {"t.log --dbc a.dbc --channel nosuch=1", 1,
         "on several channels, decoded as one (--dbc CHANNEL=FILE keeps them apart): Motor\n"
         "interfaces nosuch and can1 are both channel 1; --channel NAME=N tells them apart\n" +
             absent + "nosuch, which no trace has\n"},
        {"t.log --dbc 7=a.dbc", 0, "no frame came on channel 7; " + misplaced},
        {"t.log --dbc 7=a.dbc --dbc can0=a.dbc --channel can0=0", 0,
         "no frame came on channel 7; " + misplaced +
             "1 frame would match a.dbc if the channel were ignored\n"},
    };
    for (const auto& [arguments, status, messages] : rows) {
        const ProgramResult result = folder.run("rksignal decode --last " + arguments);
        EXPECT_EQ(result.status, status) << arguments;
        EXPECT_TRUE(result.messages.ends_with("\n" + messages)) << arguments << '\n' << result.messages;
    }
    EXPECT_EQ(folder.run("rksignal decode -q --last --dbc foo=a.dbc t.rktrace").status, 0)
        << "channel 0 came";
    EXPECT_EQ(folder.run("rksignal decode -q --last --dbc foo=a.dbc t.log").messages,
              absent + "foo, which no trace has\n");
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
        {"more traces than files can be open",
         "head -n 1100 t.log | (mkdir many; cd many; split -l 1 -a 4); ulimit -n 300; "
         "rksignal decode -q --dbc a.dbc many/* | wc -l",
         "1101\n", ""},
        {"the reader goes", "{ rksignal decode --dbc a.dbc t.log; echo $? >&2; } | head -n 2", first, "0\n"},
        {"the disk is full", "rksignal decode --dbc a.dbc t.log > /dev/full; echo $?", "2\n",
         "rksignal: cannot write standard output: No space left on device\n"},
    };
    folder.run("seq -f '(%.0f.5) can0 001#05' 99999 > t.log");
    for (const auto& [name, command, output, messages] : rows) {
        const ProgramResult result = folder.run(command);
        EXPECT_EQ(result.status, 0) << name;
        EXPECT_EQ(result.output, output) << name;
        EXPECT_EQ(result.messages, messages) << name;
    }
}

} // namespace
} // namespace rksignal
