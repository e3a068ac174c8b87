/// \file
/// The HTTP server of `rksignal serve`.
#pragma once

#include "serve/Access.h"
#include "serve/ListenAddress.h"
#include "serve/LiveState.h"

#include <cstddef>
#include <memory>
#include <string>

namespace rksignal {

struct WebSettings {
    ListenAddress address;
    std::string token;        ///< empty: none is needed, which only a loopback address allows
    std::size_t clients = 16; ///< pages that are open at a time; more are refused
};

/// Answers requests, read-only: the page, its data, a stream of changes for each page that is open, metrics.
///
/// Each connection serves one request. Each has a thread, of a number that is fixed; those of streams write
/// the latest values whenever there are new ones and the client has taken what was written before. A client
/// that takes nothing for five seconds is disconnected.
class WebServer {
  public:
    /// Listens; connections wait until start(). `state` must outlive the server. \throws Error if the address
    /// cannot be listened on
    WebServer(const WebSettings& settings, const LiveState& state);
    /// As stop().
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    void start();
    /// Ends all connections; streams once the state has been closed.
    void stop();

    /// Where the page is, without a token.
    std::string url() const;

  private:
    class Routes;
    std::unique_ptr<Routes> routes;
};

} // namespace rksignal
