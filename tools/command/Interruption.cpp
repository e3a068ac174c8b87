#include "command/Interruption.h"

#include "output/OutputFile.h"

#include <atomic>
#include <cerrno>

namespace rksignal {
namespace {

std::atomic<Trace*> running; // what the handler reaches; null once a signal has come

void handle(int signal) {
    const int error = errno;
    if (Trace* const traces = running.exchange(nullptr)) {
        traces->stop();
    } else {
        OutputFile::removeIncomplete();
        std::signal(signal, SIG_DFL);
        raise(signal); // is delivered when the handler returns
    }
    errno = error;
}

} // namespace

Interruption::Interruption(Trace& traces) {
    running = &traces;
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
    running = nullptr;
}

} // namespace rksignal
