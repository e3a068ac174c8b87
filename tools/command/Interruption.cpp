#include "command/Interruption.h"

#include "file/InputFile.h"
#include "file/OutputFile.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace rksignal {
namespace {

// What the handler reaches. The pipe is never read: once a signal has come, waiting for it ends at once.
std::atomic<bool> requested;
std::array<int, 2> wakeUp{-1, -1};

void handle(int signal) {
    const int error = errno;
    if (requested.exchange(true)) {
        OutputFile::removeIncomplete();
        std::signal(signal, SIG_DFL);
        raise(signal); // is delivered when the handler returns
    } else {
        [[maybe_unused]] const ssize_t ignored = write(wakeUp[1], "", 1);
    }
    errno = error;
}

} // namespace

Interruption::Interruption() {
    requested = false;
    if (pipe2(wakeUp.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        Former old{signal, {}};
        sigaction(signal, nullptr, &old.action);
        if (old.action.sa_handler != SIG_IGN) {
            struct sigaction action {};
            action.sa_handler = handle;
            sigaction(signal, &action, nullptr);
            former.push_back(old);
        }
    }
}

Interruption::~Interruption() {
    for (const Former& old : former) {
        sigaction(old.signal, &old.action, nullptr);
    }
    close(wakeUp[0]);
    close(wakeUp[1]);
}

bool Interruption::isRequested() const {
    return requested;
}

void Interruption::await(int descriptor) const {
    std::array<pollfd, 2> ends{{{descriptor, POLLIN, 0}, {wakeUp[0], POLLIN, 0}}};
    while (!requested && poll(ends.data(), ends.size(), -1) < 0 && errno == EINTR) {
    }
    if (requested) {
        throw InputStopped();
    }
}

} // namespace rksignal
