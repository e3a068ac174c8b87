#include "Program.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

/// Keeps the numbers of standard streams that are closed from being given to files that are opened: messages
/// would end up there. Reading and writing them stays an error.
void holdStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const int mode = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (fcntl(stream, F_GETFD) == -1 && open("/dev/null", mode) != stream) {
            std::_Exit(rksignal::Unusable);
        }
    }
}

/// Of the terminal on which somebody watches the messages; 0 if nobody does, or it cannot draw over a line.
unsigned terminalColumns() {
    constexpr unsigned usualColumns = 80; // of a terminal that does not tell
    const char* const type = std::getenv("TERM");
    winsize size{};
    if (type == nullptr || std::string_view(type) == "dumb" || isatty(STDERR_FILENO) != 1) {
        return 0;
    }
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usualColumns;
}

} // namespace

int main(int argc, char** argv) {
    holdStandardStreams();
    // A reader that goes away, and a file that must not grow further, are noticed by the failing write.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const rksignal::Console console{STDOUT_FILENO, std::cerr, terminalColumns()};
    return rksignal::runProgram({argv + 1, argv + argc}, console);
}
