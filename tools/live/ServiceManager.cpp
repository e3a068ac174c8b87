#include "live/ServiceManager.h"

#include "live/LiveSource.h"

#include <systemd/sd-daemon.h>

namespace rksignal {
namespace {

/// Whether anybody listens does not matter.
void notify(const std::string& state) {
    [[maybe_unused]] const int ignored = sd_notify(0, state.c_str());
}

} // namespace

ServiceManager::ServiceManager() {
    std::uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) > 0) {
        watchdogInterval = microseconds * 1000;
    }
}

void ServiceManager::ready() const {
    notify("READY=1");
}

void ServiceManager::reloading() const {
    notify("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(monotonicTime() / 1000));
}

void ServiceManager::stopping() const {
    notify("STOPPING=1");
}

void ServiceManager::status(const std::string& text) const {
    notify("STATUS=" + text);
}

void ServiceManager::keepAlive() const {
    notify("WATCHDOG=1");
}

} // namespace rksignal
