/// \file
/// Which files a command leaves behind, whatever it is told to write to.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

class OutputFiles : public testing::Test {
  protected:
    OutputFiles() {
        folder.run("mkdir w");
        folder.write("a.dbc", "BO_ 1 Motor: 1\n SG_ Speed : 0|8@1+ (1,0) [0|0] \"\"\n");
        folder.write("a.json", R"({"can": [{"instance": "Gear", "bits": 8, "msgId": 3}]})");
        folder.write("empty.dbc", "VERSION \"\"\n");
        folder.write("c.txt", "Motor.Speed > 5\n");
        folder.write("t.log", "(1.0) can0 001#05\n(2.0) can0 001#06\n");
        folder.write("bad.log", "(damaged\n");
        folder.write("remote.log", "(1.0) can0 001#R\n");
        folder.write("w/x-1.csv", folder.read("t.log"));
        folder.write("keep.log", "old");
        folder.run("ln t.log hard.log; ln -s w/x-1.csv soft.log");
    }

    TemporaryFolder folder;
};

TEST_F(OutputFiles, StayWhenTheyAreReadOrWouldHoldNothing) {
    const std::string help = "Run with --help for more information.\n";
    const std::string overwrites = "rksignal: the output would overwrite ";
    const std::string trigger = "rksignal trigger -q --dbc a.dbc --when 'x=Motor.Speed > 5' ";
    const std::string garbage =
        "lines (1)\n  bad.log:1: time stamp is not SECONDS.FRACTION with 1 to 9 decimals\n";
    const std::string kept = "can be converted; keep.log is left as it was\n";
    const struct {
        std::string command;
        int status;
        std::string messages;
    } rows[] = {
        {"rksignal decode t.log --dbc a.dbc -o a.dbc", 2, overwrites + "a.dbc, which is read\n"},
        {"rksignal decode t.log --dbc 0=a.dbc -o ./a.dbc", 2, overwrites + "a.dbc, which is read\n"},
        {"rksignal decode t.log --signals a.json -o a.json", 2, overwrites + "a.json, which is read\n"},
        {"rksignal decode t.log --dbc a.dbc -o hard.log", 2, overwrites + "t.log, which is read\n"},
        {"rksignal decode w/x-1.csv --dbc a.dbc -o soft.log", 2, overwrites + "w/x-1.csv, which is read\n"},
        {"rksignal decode --gps t.log --dbc a.dbc -o t.log", 2, overwrites + "t.log, which is read\n"},
        {"rksignal decode - --dbc a.dbc -o t.log < t.log", 2, overwrites + "standard input, which is read\n"},
        {"rksignal decode - --dbc a.dbc < t.log >> t.log", 2,
         "rksignal: the output would be written into standard input, which is read\n"},
        {"rksignal trigger t.log --dbc a.dbc --when-file c.txt -o c.txt", 2,
         overwrites + "c.txt, which is read\n"},
        {"rksignal convert - t.log < t.log", 2, overwrites + "standard input, which is read\n"},
        {trigger + "--window 1,1 --windows w t.log", 2,
         "rksignal: --windows w holds windows already, such as x-1.csv; --overwrite writes more into it\n"},
        {trigger + "--window 1,1 --windows w --overwrite soft.log", 2,
         overwrites + "soft.log, which is read\n"},
        {trigger + "--window 1,1 --windows a.dbc/w t.log", 2,
         "rksignal: cannot use the folder a.dbc/w: Not a directory\n"},
        {"rksignal convert -q bad.log keep.log", 1,
         "not understood: " + garbage + "rksignal: nothing in bad.log " + kept},
        {"rksignal convert -q remote.log keep.log", 1,
         "not held by the output: remote frames (1)\nrksignal: nothing in remote.log " + kept},
        {"rksignal convert -q remote.log new.log", 1,
         "not held by the output: remote frames (1)\n"
         "rksignal: nothing in remote.log can be converted; new.log is not written\n"},
        {"rksignal convert -q /dev/null keep.log", 1, "rksignal: nothing in /dev/null " + kept},
        {"rksignal convert -q empty.dbc a.json", 1,
         "rksignal: nothing in empty.dbc can be converted; a.json is left as it was\n"},
        {"rksignal decode -q --dbc a.dbc bad.log -o keep.log", 1,
         "rksignal: keep.log is left as it was: nothing in the traces could be understood\n"
         "1 malformed line:\n  bad.log:1: time stamp is not SECONDS.FRACTION with 1 to 9 decimals\n"},
        {"trap '' XFSZ; ulimit -f 1; rksignal decode -q --dbc a.dbc many.log -o keep.log", 2,
         "rksignal: cannot write keep.log: File too large\n"},
    };
    folder.run("yes '(1.0) can0 001#05' | head -n 9999 > many.log; find . -type f ! -name '.*' | xargs "
               "sha1sum > .sums");
    for (const auto& [command, status, messages] : rows) {
        const ProgramResult result = folder.run(command);
        EXPECT_EQ(result.status, status) << command;
        EXPECT_EQ(result.messages, messages) << command;
        EXPECT_EQ(folder.run("sha1sum -c --quiet .sums; find . -name '*.part' -o -name new.log").output, "")
            << command;
    }
}

TEST_F(OutputFiles, AreReplacedWholeWithTheirPermissionsAndOtherwiseWrittenDirectly) {
    const std::string rows = "1.000000,0,can,Motor.Speed,5,,5,\n2.000000,0,can,Motor.Speed,6,,6,\n";
    const std::pair<std::string, std::string> cases[] = {
        {"umask 022; chmod 660 keep.log; $decode keep.log; stat -c %a keep.log; tail -n 2 keep.log",
         "660\n" + rows},
        {"umask 027; $decode new.csv; stat -c %a new.csv", "640\n"},
        {"ln -s absent.csv link; $decode link; test -L link && tail -n 2 absent.csv", rows},
        {"ln -s t.log keep.log.part; $decode keep.log; readlink keep.log.part", "t.log\n"},
        {"$decode /dev/stdout | tail -n 2", rows},
        {"echo first > out; $decode /dev/fd/3 3>> out; head -n 1 out; tail -n 2 out", "first\n" + rows},
        {"mkfifo pipe; $decode pipe & tail -n 2 pipe", rows},
        {"$decode /dev/null; test -c /dev/null && echo device", "device\n"},
    };
    for (const auto& [command, output] : cases) {
        const ProgramResult result =
            folder.run("decode='rksignal decode -q --dbc a.dbc t.log -o'; " + command);
        EXPECT_EQ(result.output, output) << command;
        EXPECT_EQ(result.messages, "") << command;
    }
}

TEST_F(OutputFiles, OfAnEarlierRunAreCountedWhereTheyStay) {
    folder.write("w/y-12.csv", "earlier");
    const ProgramResult result = folder.run("rksignal trigger --dbc a.dbc --when 'x=Motor.Speed > 5' "
                                            "--window 0,0 --windows w --overwrite t.log > rows");
    EXPECT_EQ(result.messages, "2 frames read: 2 decoded, 0 unknown, 0 remote, 0 error\n"
                               "x: evaluations 2, true 1, false 1, unknown 0, firings 1\n"
                               "windows written to w: 1\n"
                               "windows of an earlier run that are still there: 1\n");
    EXPECT_EQ(folder.run("tail -n +2 w/x-1.csv").output, "2.000000,0,can,Motor.Speed,6,,6,\n");
}

TEST_F(OutputFiles, EndWithARowOnAFullDisk) {
    const ProgramResult result =
        folder.run("seq -f '(%.0f.5) can0 001#05' 99999 > many.log; trap '' XFSZ; ulimit -f 300\n"
                   "rksignal decode -q --dbc a.dbc many.log > out; echo $?; tail -n 1 out | cut -d , -f 2-");
    EXPECT_EQ(result.messages, "rksignal: cannot write standard output: File too large\n");
    EXPECT_EQ(result.output, "2\n0,can,Motor.Speed,5,,5,\n");
}

TEST_F(OutputFiles, DoNotReceiveMessagesOfClosedStreams) {
    const ProgramResult result =
        folder.run("rksignal convert remote.log b.log 2>&-; cat t.log remote.log > both.log\n"
                   "rksignal convert both.log b.log 2>&-; echo $?; cat b.log");
    EXPECT_EQ(result.output, "1\n(1.000000) can0 001#05\n(2.000000) can0 001#06\n");
    EXPECT_EQ(folder.run("rksignal decode --dbc a.dbc t.log >&-").messages,
              "rksignal: cannot write standard output: Bad file descriptor\n");
    EXPECT_EQ(folder.run("rksignal decode --help > /dev/full").messages,
              "rksignal: cannot write standard output: No space left on device\n");
    EXPECT_EQ(folder.run("rksignal --version > /dev/full").status, 2);
}

} // namespace
} // namespace rksignal
