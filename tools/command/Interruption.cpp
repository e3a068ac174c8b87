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
        endBySignal(signal);
    }
    errno = error;
}

} // namespace

Interruption::Interruption(Trace& traces) {
    running = &traces;
    handlers.emplace({SIGINT, SIGTERM, SIGHUP}, handle);
}

Interruption::~Interruption() {
    handlers.reset();
    running = nullptr;
}

} // namespace rksignal
