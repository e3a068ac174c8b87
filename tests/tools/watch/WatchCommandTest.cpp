/// \file
/// `rksignal watch` as somebody at a terminal uses it, beside a writer that stops, goes and comes back.
#include "signal/BaseSignal.h"
#include "support/CapturedOutput.h"
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>

namespace rksignal {
namespace {

class WatchCommand : public testing::Test {
  protected:
    WatchCommand() {
        folder.write("w.dbc", "BO_ 1 " + message +
                                  ": 8 X\n SG_ Speed : 0|8@1+ (0.5,0) [0|0] \"km/h\"\n"
                                  " SG_ Gear : 8|8@1+ (1,0) [0|0] \"\"\nVAL_ 1 Gear 2 \"Second\" ;\n");
    }
    ~WatchCommand() override {
        folder.run("tmux -S ./tmux kill-server; find /tmp -maxdepth 1 -lname '" + message +
                   "*' -delete; rm -f /tmp/" + message + ".*");
    }

    /// A writer of a signal that has just written.
    std::unique_ptr<BaseSignal> share(const std::string& name, unsigned long raw, double scale) {
        baseSignalDef_t definition;
        definition.instance = message + "." + name;
        definition.signal = name;
        definition.bits = 8;
        definition.scale = scale;
        auto signal = std::make_unique<BaseSignal>(definition, true, &storage);
        signal->writeRaw(raw, now());
        return signal;
    }
    static std::uint64_t now() {
        timespec time{};
        clock_gettime(CLOCK_REALTIME, &time);
        return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U +
               static_cast<std::uint64_t>(time.tv_nsec);
    }

    void tmux(const std::string& command) const { folder.run("tmux -S ./tmux " + command); }
    /// The screen without line ends of blanks, once it holds a text, or lacks it.
    std::string screen(const std::string& wanted, bool isThere = true) const {
        for (int tries = 0; tries < 200; ++tries) {
            std::string text = folder.run("tmux -S ./tmux capture-pane -p").output;
            if ((text.find(wanted) != text.npos) == isThere) {
                return text;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        ADD_FAILURE() << "the screen never " << (isThere ? "shows " : "loses ") << wanted << ":\n"
                      << folder.run("tmux -S ./tmux capture-pane -p").output;
        return {};
    }
    /// What the program could have made or removed: key files, and the claims that name the segments.
    std::string sharedThings() const {
        return folder
            .run("ls -A /tmp | grep '" + message + "'; readlink /tmp/.rksignal-key-* | grep '" + message +
                 "'")
            .output;
    }

    const std::string message = "WatchTest" + std::to_string(getpid());
    TemporaryFolder folder;
    CapturedOutput output;
    SignalStorage storage;
};

TEST_F(WatchCommand, WritesATableOrRowsAndMakesNothing) {
    const auto gear = share("Gear", 2, 1);
    gear->writeRaw(2, 3'000'000'000'000'000'000); // in the year 2065
    EXPECT_EQ(folder.run("ls -A /tmp | grep '" + message + "'").output, message + ".Gear\n");
    const ProgramResult rows = folder.run("rksignal watch --once --format csv w.dbc");
    EXPECT_EQ(rows.output, valueHeader + ",,can," + message + ".Speed,,km/h,,\n3000000000.000000,,can," +
                               message + ".Gear,2,,2,Second\n");
    const ProgramResult table = folder.run("rksignal watch --once --only '*.Speed' w.dbc");
    EXPECT_NE(table.output.find("km/h        missing\n"), std::string::npos) << table.output;
    EXPECT_EQ(folder.run("ls -A /tmp | grep '" + message + "'").output, message + ".Gear\n");
    const ProgramResult none = folder.run("rksignal watch");
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.messages,
              "rksignal: there are no definitions that name the signals: rksignal watch FILE\n");
    EXPECT_EQ(
        folder.run("rksignal watch w.dbc").messages,
        "rksignal: there is no terminal; --once prints a table, --format jsonl rows as values change\n");
    EXPECT_EQ(folder.run("rksignal watch --interval 0 w.dbc").messages,
              "rksignal: --interval 0: not a duration of at least a millisecond, e.g. 50ms\n");
}

TEST_F(WatchCommand, ShowsOnATerminalWhatBecomesOfSignals) {
    if (folder.run("command -v tmux").status != 0) {
        GTEST_SKIP() << "there is no tmux, in which the program is watched";
    }
    auto speed = share("Speed", 91, 0.5);
    const auto gear = share("Gear", 2, 1);
    folder.write("go.sh", "export LC_ALL=C.UTF-8\n" RKSIGNAL_PROGRAM " watch --stale 500ms w.dbc\n"
                          "echo status $? $(stty -a | tr -s ' ;' '\\n\\n' | grep -x 'icanon\\|echo')\ncat\n");
    tmux("-f /dev/null new-session -d -x 90 -y 12 'sh go.sh'");
    const std::string wide = screen("0 of 2 live");
    EXPECT_NE(wide.find("45.5 km/h "), std::string::npos) << wide;
    EXPECT_NE(wide.find(" Second "), std::string::npos) << wide;
    const std::string before = sharedThings();

    tmux("resize-window -x 40 -y 12");
    const std::string narrow = screen("km/h", false);
    EXPECT_NE(narrow.find("Gear  "), std::string::npos) << narrow;
    EXPECT_NE(narrow.find("45.5 "), std::string::npos) << narrow;

    tmux("send-keys / gea");
    EXPECT_EQ(screen("Speed", false).find("45.5 "), std::string::npos);
    screen("/gea_");
    tmux("send-keys Escape");
    screen("Speed");

    speed->writeRaw(100, now());
    const std::string changed = screen("*50 ");
    EXPECT_NE(changed.find("1 of 2 live"), std::string::npos) << changed;
    EXPECT_EQ(sharedThings(), before);
    speed.reset();
    EXPECT_NE(screen("removed").find("50 "), std::string::npos) << "the last value";
    speed = share("Speed", 120, 0.5);
    screen("60 ");

    tmux("send-keys '?'");
    screen("hold the picture");
    tmux("send-keys x");
    screen("hold the picture", false);
    folder.run("kill -TERM $(pgrep -P $(tmux -S ./tmux list-panes -F '#{pane_pid}') -x rksignal)");
    screen("status 130 icanon echo"); // the terminal is as it was
    EXPECT_EQ(screen("60 ", false).find("q quit"), std::string::npos);
}

} // namespace
} // namespace rksignal
