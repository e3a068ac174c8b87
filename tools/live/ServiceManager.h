/// \file
/// What a service tells systemd.
#pragma once

#include <cstdint>
#include <string>

namespace rksignal {

/// Talks to the service manager that started the process (sd_notify(3)); does nothing without one.
class ServiceManager {
  public:
    ServiceManager();

    void ready() const;
    void reloading() const;
    void stopping() const;
    /// A line that `systemctl status` shows.
    void status(const std::string& text) const;
    /// The process is alive.
    void keepAlive() const;
    /// Nanoseconds after which the manager wants to have heard keepAlive() again; 0: it does not.
    std::uint64_t watchdog() const { return watchdogInterval; }

  private:
    std::uint64_t watchdogInterval = 0;
};

} // namespace rksignal
