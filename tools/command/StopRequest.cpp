#include "command/StopRequest.h"

namespace rksignal {
namespace {

volatile std::sig_atomic_t isRequested = 0;

void request(int signal) {
    if (isRequested != 0) {
        std::signal(signal, SIG_DFL);
        raise(signal); // is delivered when the handler returns
    }
    isRequested = 1;
}

} // namespace

StopRequest::StopRequest() {
    isRequested = 0;
    for (const int signal : {SIGINT, SIGTERM}) {
        Former old{signal, {}};
        sigaction(signal, nullptr, &old.action);
        if (old.action.sa_handler != SIG_IGN) {
            struct sigaction action {};
            action.sa_handler = request;
            sigaction(signal, &action, nullptr);
            former.push_back(old);
        }
    }
}

StopRequest::~StopRequest() {
    for (const Former& old : former) {
        sigaction(old.signal, &old.action, nullptr);
    }
}

bool StopRequest::isMade() {
    return isRequested != 0;
}

} // namespace rksignal
