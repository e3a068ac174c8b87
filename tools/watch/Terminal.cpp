#include "watch/Terminal.h"

#include "command/UsageError.h"

#define NCURSES_NOMACROS 1 // they have the names of functions
#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <curses.h>
#include <langinfo.h>
#include <poll.h>
#include <string_view>
#include <term.h>
#undef columns // of term.h
#include <termios.h>
#include <unistd.h>

namespace rksignal {
namespace {

SCREEN* screen = nullptr;

// What a crash handler needs.
std::array<char, 256> restoring{};
std::size_t restoringSize = 0;
termios formerSettings{};

volatile std::sig_atomic_t endSignal = 0;

constexpr std::array crashes = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr std::array ends = {SIGINT, SIGTERM, SIGHUP};

void noteRestoring(const char* capability) {
    const char* const text = tigetstr(capability);
    if (text == nullptr || text == reinterpret_cast<const char*>(-1)) {
        return;
    }
    const std::size_t length = std::min(std::strlen(text), restoring.size() - restoringSize);
    std::copy_n(text, length, restoring.begin() + static_cast<std::ptrdiff_t>(restoringSize));
    restoringSize += length;
}

/// Gives the terminal back with what may be called in a handler, and lets the crash take its course.
void crash(int signal) {
    const ssize_t written = write(STDOUT_FILENO, restoring.data(), restoringSize);
    static_cast<void>(written);
    tcsetattr(STDIN_FILENO, TCSANOW, &formerSettings);
    raise(signal);
}

void handleCrashes() {
    restoringSize = 0;
    for (const char* const capability : {"sgr0", "rmkx", "cnorm", "rmcup"}) {
        noteRestoring(capability);
    }
    for (const int signal : crashes) {
        struct sigaction action {};
        action.sa_handler = crash;
        action.sa_flags = static_cast<int>(SA_RESETHAND | static_cast<unsigned>(SA_NODEFER));
        sigaction(signal, &action, nullptr);
    }
}

void end(int signal) {
    endSignal = signal;
}

bool isUtf8(std::string_view codeset) {
    return codeset == "UTF-8" || codeset == "utf8";
}

/// One `?` for each character outside ASCII.
std::string asciiOf(std::string_view text) {
    std::string ascii;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80 || byte >= 0xC0) {
            ascii += byte < 0x80 ? character : '?';
        }
    }
    return ascii;
}

attr_t attributesOf(unsigned style) {
    return ((style & Terminal::Dim) != 0 ? A_DIM : A_NORMAL) |
           ((style & Terminal::Bold) != 0 ? A_BOLD : A_NORMAL) |
           ((style & Terminal::Reverse) != 0 ? A_REVERSE : A_NORMAL);
}

} // namespace

Terminal::Terminal() {
    if (isatty(STDIN_FILENO) != 1 || isatty(STDOUT_FILENO) != 1) {
        throw UsageError("there is no terminal; --once prints a table, --format jsonl rows as values change");
    }
    tcgetattr(STDIN_FILENO, &formerSettings);
    std::setlocale(LC_CTYPE, "");
    unicode = isUtf8(nl_langinfo(CODESET));
    setenv("ESCDELAY", "25", 0); // milliseconds; the default of a second is slow for closing the filter
    screen = newterm(nullptr, stdout, stdin);
    if (screen == nullptr) {
        const char* const name = std::getenv("TERM");
        throw UsageError(std::string("the terminal ") + (name != nullptr ? name : "") +
                         " is not known (TERM); --once prints a table");
    }
    cbreak();
    noecho();
    nonl();
    curs_set(0);
    keypad(stdscr, true);
    nodelay(stdscr, true);
    handleCrashes();
}

Terminal::~Terminal() {
    endwin();
    delscreen(screen);
    screen = nullptr;
    for (const int signal : crashes) {
        std::signal(signal, SIG_DFL);
    }
    std::setlocale(LC_CTYPE, "C");
}

std::size_t Terminal::rows() const {
    return static_cast<std::size_t>(std::max(getmaxy(stdscr), 0));
}

std::size_t Terminal::columns() const {
    return static_cast<std::size_t>(std::max(getmaxx(stdscr), 0));
}

void Terminal::erase() {
    werase(stdscr);
}

void Terminal::draw(std::size_t row, std::size_t column, const std::string& text, unsigned style) {
    wattrset(stdscr, static_cast<int>(attributesOf(style)));
    mvwaddstr(stdscr, static_cast<int>(row), static_cast<int>(column),
              (unicode ? text : asciiOf(text)).c_str());
}

void Terminal::show() {
    wrefresh(stdscr);
}

bool Terminal::wait(std::uint64_t nanoseconds) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    const timespec limit{static_cast<time_t>(nanoseconds / 1'000'000'000),
                         static_cast<long>(nanoseconds % 1'000'000'000)};
    const int ready = ppoll(&input, 1, &limit, nullptr);
    return ready <= 0 || (input.revents & POLLIN) != 0;
}

Terminal::Key Terminal::key() {
    switch (const int code = wgetch(stdscr)) {
    case ERR:
        return None;
    case KEY_UP:
        return Up;
    case KEY_DOWN:
        return Down;
    case KEY_PPAGE:
        return PageUp;
    case KEY_NPAGE:
        return PageDown;
    case KEY_HOME:
        return Home;
    case KEY_END:
        return End;
    case KEY_BACKSPACE:
    case '\b':
    case 0x7F:
        return Backspace;
    case KEY_ENTER:
    case '\r':
    case '\n':
        return Enter;
    case 0x1B:
        return Escape;
    default:
        return code >= ' ' && code < 0x7F ? static_cast<Key>(code) : Resize;
    }
}

EndSignals::EndSignals() {
    endSignal = 0;
    for (const int signal : ends) {
        struct sigaction action {};
        action.sa_handler = end; // without SA_RESTART: waiting ends
        sigaction(signal, &action, nullptr);
    }
}

EndSignals::~EndSignals() {
    for (const int signal : ends) {
        std::signal(signal, SIG_DFL);
    }
}

bool EndSignals::haveCome() {
    return endSignal != 0;
}

} // namespace rksignal
