/// \file
/// Where the server of `rksignal serve` listens.
#pragma once

#include <cstdint>
#include <string>

namespace rksignal {

struct ListenAddress {
    static constexpr std::uint16_t usualPort = 8765;

    std::string host = "127.0.0.1"; ///< IPv4 or IPv6 address without brackets, or a host name
    std::uint16_t port = usualPort; ///< 0: one that is free

    /// Whether nobody but this machine reaches it.
    bool isLoopback() const;
    /// `http://127.0.0.1:8765/`, with `actualPort` for the port; of all addresses, the name of the machine.
    std::string url(int actualPort) const;
};

/// Reads `ADDRESS`, `ADDRESS:PORT`, `:PORT`, `[ADDRESS]` or `[ADDRESS]:PORT`; an IPv6 address without a port
/// may lack its brackets. \throws UsageError
ListenAddress parseListenAddress(const std::string& argument);

/// Whether a host, as in a URL, is this machine itself: `localhost`, 127.x.x.x or ::1, without brackets.
bool isLoopbackHost(const std::string& host);

} // namespace rksignal
