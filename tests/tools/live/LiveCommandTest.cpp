/// \file
/// The logger as a user runs it: sources, shared values, reloads, records, windows, time-outs.
#include "signal/SlotView.h"
#include "tools/ProgramRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <sys/shm.h>
#include <unistd.h>

namespace rksignal {
namespace {

/// A folder with the definitions of `NAME.Speed` and `NAME.Gear`, of a message that comes every 100 ms, whose
/// name no other run uses. Segments and key files are removed at the end.
class LiveFolder : public TemporaryFolder {
  public:
    LiveFolder() { define("Gear : 16|8@1+"); }
    ~LiveFolder() {
        for (const char* const signal : {"Speed", "Gear", "Lever"}) {
            const SlotView slot(name + "." + signal);
            shmctl(slot.shmId(), IPC_RMID, nullptr);
            std::ostringstream claim;
            claim << "/tmp/.rksignal-key-" << std::hex << slot.key();
            std::filesystem::remove(claim.str());
            std::filesystem::remove("/tmp/" + name + "." + signal);
        }
    }
    LiveFolder(const LiveFolder&) = delete;
    LiveFolder& operator=(const LiveFolder&) = delete;

    void define(const std::string& second) const { write("d.dbc", definitions(second)); }
    std::string definitions(const std::string& second) const {
        return "BO_ 257 " + name + ": 8 X\n SG_ Speed : 0|16@1+ (0.5,0) [0|0] \"km/h\" X\n SG_ " + second +
               " (1,0) [0|0] \"\" X\nBA_DEF_ BO_ \"GenMsgCycleTime\" INT 0 9999;\n"
               "BA_DEF_DEF_ \"GenMsgCycleTime\" 0;\nBA_ \"GenMsgCycleTime\" BO_ 257 100;\n";
    }

    /// Runs a script with these functions: `start OPTIONS` begins a logger that reads what `send` gives,
    /// `awaits WORD FILE` waits for a text, `ends` stops the logger and prints its status.
    ProgramResult script(const std::string& text) const {
        return run("name=" + name + R"(
start() { mkfifo pipe; "$program" live --dbc d.dbc "$@" pipe 2> said & exec 3> pipe; }
send() { printf "(1700000000.$1) can0 101#$2\n" >&3; }
awaits() { for i in $(seq 1000); do grep -q "$1" "$2" && return; sleep 0.01; done; echo "no $1 in $2"; }
ends() { kill -TERM $!; wait $!; echo "status $?"; }
program=)" RKSIGNAL_PROGRAM "\n" +
                   text);
    }

    std::string value(const std::string& signal) const {
        const SlotView slot(name + "." + signal);
        std::uint64_t raw = 0;
        std::uint64_t timestamp = 0;
        if (slot.attachment() != SlotView::Attachment::Attached) {
            return "none";
        }
        return slot.read(raw, timestamp) == SlotView::State::Value
                   ? std::to_string(raw) + "@" + std::to_string(timestamp)
                   : "no value";
    }

    const std::string name = "Live" + std::to_string(getpid());
};

TEST(LiveCommand, ReadsDecodesFiresAndRecords) {
    const LiveFolder folder;
    const ProgramResult result = folder.script(R"(
for i in 1 2 3 4 5 6 7 8; do printf "(1700000000.${i}0) can0 101#0${i}000${i}\n"; done > log
cat log | rksignal live --dbc d.dbc --edge --when "fast=$name.Gear > 4" --window 0.15,0.1 --windows around \
    --frames log --record r.rktrace --rotate-size 150 -
rksignal decode -q --dbc d.dbc log > expected; rksignal decode -q --dbc d.dbc r-*.rktrace | diff expected - && echo same
ls r-*.rktrace | wc -l; stat -c %s r-*.rktrace | sort -n | tail -1; cat around/fast-1.log
rksignal live -q --dbc d.dbc --record r.rktrace --keep 2 - < log; ls r-* | wc -l
rksignal decode -q --dbc d.dbc r-*.rktrace | diff expected - > /dev/null || echo older ones are gone)");
    EXPECT_EQ(result.output, "time,channel,bus,condition,signals\n1700000000.500000,0,can,fast," +
                                 folder.name +
                                 ".Gear=5 (0)\nsame\n3\n134\n(1700000000.400000) can0 101#040004\n"
                                 "(1700000000.500000) can0 101#050005\n(1700000000.600000) can0 101#060006\n"
                                 "2\nolder ones are gone\n");
    const std::string messages = std::regex_replace(result.messages, std::regex("r-[-0-9TZ]*"), "r-TIME");
    EXPECT_EQ(messages, "standard input: messages 8, lost 0, damaged 0\nvalues: 16\n"
                        "fast: evaluations 8, true 4, false 4, unknown 0, firings 1\n"
                        "windows written to around: 1\n"
                        "recorded: 8 messages in 3 files, the last one r-TIME.rktrace; not recorded: 0\n");
}

/// Others see the values, also after the end, and what is still defined keeps them over reloads.
TEST(LiveCommand, SharesValuesAndReloads) {
    const LiveFolder folder;
    folder.write("next", folder.definitions("Lever : 24|8@1+"));
    const ProgramResult result = folder.script(R"(
start --shared --mode 640 -o rows --when "moved=$name.Speed > 0"
send 5 01000203; awaits moved rows
echo nonsense > d.dbc; kill -HUP $!; awaits "not reloaded" said
cp next d.dbc; kill -HUP $!; awaits "; reloaded\|: reloaded" said
ends; ipcs -m | awk '$5 == 104 && $4 == 640' | wc -l | tr -d 1-9
rksignal live -q --dbc d.dbc --shared --when "a=$name.Speed > 0" - < /dev/null)");
    EXPECT_EQ(result.output, "status 0\n\ntime,channel,bus,condition,signals\n");
    EXPECT_EQ(folder.value("Speed"), "1@1700000000500000000");
    EXPECT_EQ(folder.value("Gear"), "none");
    EXPECT_EQ(folder.value("Lever"), "no value");
    EXPECT_THAT(
        folder.read("said"),
        testing::HasSubstr("What was loaded before stays in force.\n"
                           "rksignal: reloaded; signals that keep their values: 1, new ones: 1, gone: 1, "
                           "without value because they are defined otherwise: 0\n"));
}

/// Rows are written behind the records of the same messages: who sees a row finds all of them.
TEST(LiveCommand, RecordsOutliveAKill) {
    const LiveFolder folder;
    const ProgramResult result = folder.script(R"(
start --record r.rktrace -o rows --when "last=$name.Gear == 7"
for i in $(seq 100 999); do send $i 010001; done; send 9999 010007
awaits last rows; kill -KILL $!; wait $! 2> /dev/null
rksignal info r-*.rktrace 2> /dev/null | sed -n 1,2p | sed 's/.*, //')");
    EXPECT_EQ(result.output, "901 messages\n901 messages\n");
}

/// A file of 1024 bytes has room for its head of 8 bytes and 24 records of 42.
TEST(LiveCommand, GoesOnWhileNothingCanBeWritten) {
    const LiveFolder folder;
    const ProgramResult result = folder.script(R"(
for i in $(seq 100 999); do printf "(1700000000.${i}) can0 101#010001\n"; done > log
(ulimit -f 2; rksignal live --dbc d.dbc --record r.rktrace - < log; echo "status $?" >&2) 2>&1 |
    sed 's/r-[-0-9TZ]*/r-TIME/'
cat r-*.rktrace | wc -c; rksignal decode -q --dbc d.dbc r-*.rktrace 2> /dev/null | grep -c Speed)");
    EXPECT_EQ(
        result.output,
        "rksignal: cannot write r-TIME.rktrace: File too large; recording goes on as soon as that is "
        "possible\nstandard input: messages 900, lost 0, damaged 0\nvalues: 1800\nrecorded: 900 messages in "
        "1 file, the last one r-TIME.rktrace; not recorded: 876\nstatus 1\n1024\n24\n");
}

/// The message comes every 100 ms: it is stale after three times that.
TEST(LiveCommand, TellsOfStaleSignalsOnce) {
    const LiveFolder folder;
    const ProgramResult result = folder.script(R"(
start --shared -o rows --edge --when "gone=!($name.Gear < 9) || $name.Gear < 9"
send 5 010001; awaits "Gear is stale" said; send 900 020002; awaits "Gear is back" said; ends)");
    EXPECT_EQ(result.output, "status 0\n");
    const std::string start = "rksignal: " + folder.name;
    EXPECT_THAT(folder.read("said"),
                testing::StartsWith(start + ".Speed is stale: last written at 1700000000.500000\n" + start +
                                    ".Gear is stale: last written at 1700000000.500000\n" + start +
                                    ".Speed is back after 0.4 s\n" + start + ".Gear is back after 0.4 s\n"));
    EXPECT_EQ(folder.value("Gear"), "2@1700000000900000000");
}

TEST(LiveCommand, TellsTheServiceManager) {
    const LiveFolder folder;
    const ProgramResult result = folder.script(R"(
python3 -c "import socket
s = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM); s.bind('manager')
while True:
    text = s.recv(999).decode(); print(text.split()[0], flush=True)
    if text == 'STOPPING=1': break" > heard & listener=$!
until [ -S manager ]; do sleep 0.01; done; export NOTIFY_SOCKET=$PWD/manager
start -q; awaits READY heard; kill -HUP $!; awaits "READY=1" heard; awaits reloaded said; ends; wait $listener; cat heard)");
    EXPECT_EQ(result.output, "status 0\nREADY=1\nRELOADING=1\nREADY=1\nSTOPPING=1\n");
}

TEST(LiveCommand, RefusesWhatItCannotDo) {
    const LiveFolder folder;
    const struct {
        std::string arguments, message;
    } rows[] = {
        {"", "there is nothing to read: --can, --cannelloni and --ethernet give sources, or TRACE"},
        {"--can nocan9", "cannot open nocan9: REASON"},
        {"--can can0=300", "--can can0=300: the channel is not a number from 0 to 255"},
        {"--shared --mode 444 -", "--mode 444: not permissions to read and write from 600 to 666"},
        {"--shared --group nobody.here -", "--group nobody.here: there is no such group"},
        {"--record drive.log -", "--record drive.log: the name does not end with .rktrace"},
        {"--record r.rktrace --rotate-size 5X -", "--rotate-size 5X: not a number of bytes, such as 500M"},
        {"--record none/r.rktrace -", "cannot write none/r-TIME.rktrace: No such file or directory"},
        {"--when 'a=X > 1' --window 1,1 -", "--window requires --windows"},
        {"-o d.dbc -", "the output would be written into d.dbc, which is read"},
        {"none.log", "cannot open none.log: No such file or directory"},
    };
    for (const auto& row : rows) {
        const ProgramResult result =
            folder.run("rksignal live --dbc d.dbc " + row.arguments + " < /dev/null");
        EXPECT_EQ(result.status, 2) << row.arguments;
        const std::string timeless =
            std::regex_replace(result.messages, std::regex("/r-[-0-9TZ]*"), "/r-TIME");
        EXPECT_EQ(std::regex_replace(timeless, std::regex("nocan9: .*"), "nocan9: REASON"),
                  "rksignal: " + row.message + "\n");
    }
}

} // namespace
} // namespace rksignal
