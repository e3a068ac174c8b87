#include "live/LiveSignals.h"

#include "output/OutputFile.h"

#include <atomic>
#include <cerrno>

namespace rksignal {
namespace {

std::atomic<LiveLoop*> running; // what the handler reaches; null once a signal has stopped it
std::atomic<bool> wasStopped;
std::atomic<bool> reloadWanted;

void handleLiveSignal(int signal) {
    const int error = errno;
    if (signal == SIGHUP) {
        reloadWanted = true;
    } else if (LiveLoop* const loop = running.exchange(nullptr)) {
        wasStopped = true;
        loop->stop();
    } else {
        OutputFile::removeIncomplete();
        std::signal(signal, SIG_DFL);
        raise(signal); // is delivered when the handler returns
    }
    errno = error;
}

} // namespace

LiveSignals::LiveSignals(LiveLoop& loop) {
    running = &loop;
    wasStopped = false;
    reloadWanted = false;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        Former old{signal, {}};
        sigaction(signal, nullptr, &old.action);
        if (old.action.sa_handler != SIG_IGN) {
            struct sigaction action {};
            action.sa_handler = handleLiveSignal;
            sigaction(signal, &action, nullptr);
            former.push_back(old);
        }
    }
}

LiveSignals::~LiveSignals() {
    for (const Former& old : former) {
        sigaction(old.signal, &old.action, nullptr);
    }
    running = nullptr;
}

bool LiveSignals::takeReload() {
    return reloadWanted.exchange(false);
}

bool LiveSignals::stopped() {
    return wasStopped;
}

} // namespace rksignal
