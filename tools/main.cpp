#include "Program.h"

#include <csignal>
#include <iostream>
#include <unistd.h>

int main(int argc, char** argv) {
    // A reader that goes away is noticed by the failing write.
    std::signal(SIGPIPE, SIG_IGN);
    const rksignal::Console console{STDOUT_FILENO, std::cerr, isatty(STDERR_FILENO) == 1};
    return rksignal::runProgram({argv + 1, argv + argc}, console);
}
