#include "command/StopRequest.h"

namespace rksignal {
namespace {

volatile std::sig_atomic_t isRequested = 0;

void request(int signal) {
    if (isRequested != 0) {
        endBySignal(signal);
    }
    isRequested = 1;
}

} // namespace

StopRequest::StopRequest() {
    isRequested = 0;
    handlers.emplace({SIGINT, SIGTERM}, request);
}

bool StopRequest::isMade() {
    return isRequested != 0;
}

} // namespace rksignal
