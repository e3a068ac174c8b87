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
        endBySignal(signal);
    }
    errno = error;
}

} // namespace

LiveSignals::LiveSignals(LiveLoop& loop) {
    running = &loop;
    wasStopped = false;
    reloadWanted = false;
    handlers.emplace({SIGINT, SIGTERM, SIGHUP}, handleLiveSignal);
}

LiveSignals::~LiveSignals() {
    handlers.reset();
    running = nullptr;
}

bool LiveSignals::takeReload() {
    return reloadWanted.exchange(false);
}

bool LiveSignals::stopped() {
    return wasStopped;
}

} // namespace rksignal
