/// \file
/// What somebody at a terminal sees, and what Ctrl-C does.
#include "support/CapturedOutput.h"
#include "tools/ProgramRun.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace rksignal {
namespace {

class Terminal : public testing::Test {
  protected:
    Terminal() {
        folder.write("a.dbc", "BO_ 1 Motor: 1\n SG_ Speed : 0|8@1+ (1,0) [0|0] \"\"\n");
        folder.write("t.log", "(1.0) can0 001#05\n");
    }

    /// Runs a command on a terminal. \return what it shows there
    std::string show(const std::string& command, unsigned short columns) const {
        const winsize size{24, columns, 0, 0};
        int terminal = -1;
        const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
        if (child == 0) {
            runShell(command);
        }
        std::string text;
        std::array<char, 4096> block{};
        for (ssize_t count = 0; (count = read(terminal, block.data(), block.size())) > 0;) {
            text.append(block.data(), static_cast<std::size_t>(count));
        }
        close(terminal);
        waitpid(child, nullptr, 0);
        return text;
    }

    /// Becomes a command in the folder.
    [[noreturn]] void runShell(const std::string& command) const {
        const std::string script = "cd " + folder.path("") + "; " + command;
        execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
        _exit(127);
    }

    TemporaryFolder folder;
};

TEST_F(Terminal, ProgressFitsItAndStaysAwayFromRows) {
    const std::string decode = " " RKSIGNAL_PROGRAM " decode --dbc a.dbc t.log ";
    const std::string summary = "1 frame read: 1 decoded, 0 unknown, 0 remote, 0 error\r\n";
    const std::string rows =
        "time,channel,bus,instance,value,unit,raw,text\r\n1.000000,0,can,Motor.Speed,5,,5,\r\n";
    const std::string shortBar = "\r[            ] 0%\r[============] 100%\r\033[K";
    EXPECT_EQ(show("TERM=xterm" + decode, 80), rows + summary);
    EXPECT_EQ(show("TERM=xterm" + decode + "t.log > out", 20),
              "\r[            ] 0%\r[======      ] 50%\r[============] 100%\r\033[K2 frames" +
                  filled(summary.substr(7), {{"1", "2"}}));
    EXPECT_EQ(show("TERM=dumb" + decode + "> out", 80), summary);
    EXPECT_EQ(show("TERM=xterm" + decode + "--last | cat", 20).substr(0, shortBar.size()), shortBar);
    EXPECT_EQ(show("TERM=xterm" + decode + "--last", 20).substr(0, shortBar.size()), shortBar);
}

/// Starts a command that reads `trace` from a pipe that stays open, waits until `ready` holds, and sends
/// signals to it. `sh` starts commands behind `&` with Ctrl-C ignored, so this does not use it.
class Interrupted : public Terminal {
  protected:
    int run(const std::string& arguments, const std::string& trace, const std::vector<int>& signals) {
        std::array<int, 2> input{};
        EXPECT_EQ(pipe2(input.data(), O_CLOEXEC), 0);
        EXPECT_EQ(write(input[1], trace.data(), trace.size()), static_cast<ssize_t>(trace.size()));
        const pid_t child = fork();
        if (child == 0) {
            dup2(input[0], STDIN_FILENO);
            runShell("exec " RKSIGNAL_PROGRAM " " + arguments + " > rows 2> messages");
        }
        waitUntilRead(input[0]);
        for (const int signal : signals) {
            kill(child, signal);
        }
        int status = 0;
        waitpid(child, &status, 0);
        close(input[0]);
        close(input[1]);
        if (std::filesystem::is_regular_file(folder.path("messages"))) {
            messages = folder.read("messages");
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    std::string messages;

  private:
    /// Until the program has taken everything out of the pipe, and waits for more.
    static void waitUntilRead(int pipe) {
        int left = 1;
        while (left > 0 && ioctl(pipe, FIONREAD, &left) == 0) {
            usleep(1000);
        }
        usleep(100'000);
    }
};

constexpr const char* unfinished = "(1.0) can0 001#05\n(2.0) can0 001#06\n(3.0) can0 00";

TEST_F(Interrupted, CommandsConcludeAsAtTheEndOfTheTrace) {
    const std::string summary = "2 frames read: 2 decoded, 0 unknown, 0 remote, 0 error\n";
    const std::string rows = "1.000000,0,can,Motor.Speed,5,,5,\n2.000000,0,can,Motor.Speed,6,,6,\n";
    EXPECT_EQ(run("decode --dbc a.dbc - -o out.csv", unfinished, {SIGINT}), 130);
    EXPECT_EQ(folder.read("out.csv"), valueHeader + rows);
    EXPECT_EQ(messages, summary);
    EXPECT_EQ(run("decode --dbc a.dbc - --last --format csv", unfinished, {SIGTERM}), 130);
    EXPECT_EQ(folder.read("rows"),
              "time,channel,bus,instance,value,unit,raw,text,count\n2.000000,0,can,Motor.Speed,6,,6,,2\n");
    EXPECT_EQ(run("trigger --dbc a.dbc - --when 'x=Motor.Speed == 5' --window 1,5 --windows w", unfinished,
                  {SIGHUP}),
              130);
    EXPECT_EQ(folder.read("w/x-1.csv"), valueHeader + rows);
    EXPECT_EQ(messages,
              summary + "x: evaluations 2, true 1, false 1, unknown 0, firings 1\nwindows written to w: 1\n");
    EXPECT_EQ(run("convert - out.rktrace", unfinished, {SIGINT}), 130);
    EXPECT_EQ(messages, "messages converted: 2\n");
    const std::string records = folder.read("out.rktrace");
    EXPECT_EQ(run("decode --dbc a.dbc - -q", records + records.substr(records.size() - 20, 9), {SIGINT}),
              130);
    EXPECT_EQ(folder.read("rows"), valueHeader + rows) << "of records";
    EXPECT_EQ(messages, "") << "the record that is not complete is no damage";
}

TEST_F(Interrupted, TwiceEndsTheProgramWithoutATrace) {
    folder.write("out.log", "old");
    ASSERT_EQ(mkfifo(folder.path("messages").c_str(), 0600), 0);
    const int full = open(folder.path("messages").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    while (write(full, "", 1) == 1) {
    } // the program waits when it writes its summary, before the output takes its place
    EXPECT_LT(run("convert - out.log", unfinished, {SIGINT, SIGTERM}), 0) << "ended by a signal";
    close(full);
    EXPECT_EQ(folder.read("out.log"), "old");
    EXPECT_EQ(folder.run("find . -name '*.part'").output, "");
}

TEST_F(Terminal, BoxesNeedUtf8AndColoursCanBeForbidden) {
    const std::string explain = " " RKSIGNAL_PROGRAM " explain -q --dbc a.dbc Motor.Speed t.log";
    const std::tuple<const char*, bool, bool> cases[] = {{"TERM=xterm NO_COLOR= LC_ALL=C.UTF-8", true, true},
                                                         {"TERM=xterm NO_COLOR=1 LC_ALL=C.utf8", true, false},
                                                         {"TERM=dumb NO_COLOR= LC_ALL=C", false, false}};
    for (const auto& [environment, boxes, colours] : cases) {
        const std::string text = show(environment + explain, 80);
        EXPECT_NE(text.find(colours ? "\033[7m  1\033[0m" : "[1]"), text.npos) << text;
        EXPECT_EQ(text.find('\033') != text.npos, colours) << text;
        EXPECT_NE(text.find(boxes ? "\u2502" : "|"), text.npos) << text;
    }
}

} // namespace
} // namespace rksignal
