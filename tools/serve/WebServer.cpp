#include "serve/WebServer.h"

#include "serve/LiveJson.h"
#include "serve/OpenMetrics.h"
#include "serve/PageAssets.h"
#include "text/Error.h"
#include "text/ParseNumber.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <httplib.h>
#include <sys/socket.h>
#include <thread>

namespace rksignal {
namespace {

using httplib::Request;
using httplib::Response;

constexpr std::size_t otherThreads = 8;   ///< for requests that are no streams
constexpr std::size_t mostCurves = 64;    ///< of one request
constexpr std::size_t mostColumns = 4000; ///< of one curve
constexpr std::uint64_t second = 1'000'000'000;
constexpr time_t timeout = 5;          ///< seconds for which a client may take or send nothing
constexpr int sendBuffer = 128 * 1024; ///< bytes; what a slow client has yet to take grows old there
constexpr std::chrono::milliseconds heartbeat{1000};   ///< at most between two events of a stream
constexpr std::chrono::milliseconds betweenEvents{10}; ///< at least

/// The page may load its own script and style, and ask this server; nothing else.
const httplib::Headers headers = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
     "img-src data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cache-Control", "no-store"}};

void refuse(Response& response, int status, const std::string& text) {
    response.status = status;
    response.set_content(text + "\n", "text/plain; charset=utf-8");
}

void setSocketOptions(socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &sendBuffer, sizeof sendBuffer);
}

Visit visitOf(const Request& request) {
    return {request.path,
            request.get_header_value("Host"),
            request.get_header_value("Sec-Fetch-Site"),
            request.get_header_value("Authorization"),
            request.get_header_value("Cookie"),
            request.get_param_value("token")};
}

/// A client's stream of events.
class EventStream {
  public:
    /// `open` counts the streams.
    EventStream(const LiveState& state, std::atomic<std::size_t>& open) : state(state), open(open) {}
    ~EventStream() { --open; }
    EventStream(const EventStream&) = delete;
    EventStream& operator=(const EventStream&) = delete;

    /// Writes the next event. \return false if there are no more
    bool next(httplib::DataSink& sink) {
        if (seen > 0) {
            std::this_thread::sleep_until(written + betweenEvents);
        }
        if (!state.awaitNews(seen, seen > 0 ? heartbeat : std::chrono::milliseconds(0))) {
            sink.done();
            return true;
        }
        state.read([this](const Live& live) { writeEvent(live, seen, text); });
        written = std::chrono::steady_clock::now();
        return sink.write(text.data(), text.size());
    }

  private:
    const LiveState& state;
    std::atomic<std::size_t>& open;
    std::uint64_t seen = 0;
    std::string text;
    std::chrono::steady_clock::time_point written;
};

/// A number of the address, cut to what is allowed.
std::uint64_t parameter(const Request& request, const std::string& name, std::uint64_t usual,
                        std::uint64_t most) {
    const auto number = parseNumber<std::uint64_t>(request.get_param_value(name));
    return std::clamp<std::uint64_t>(number.value_or(usual), 1, most);
}

} // namespace

class WebServer::Routes {
  public:
    Routes(const WebSettings& settings, const LiveState& state) : settings(settings), state(state) {
        configure();
        addRoutes();
        listen();
        if (!settings.token.empty()) {
            access = Access(settings.token, "rksignal_" + std::to_string(port));
        }
        signals =
            state.read([](const Live& live) { return signalsJson(live, "rksignal " RKSIGNAL_VERSION); });
    }

    void start() {
        thread = std::thread([this] { server.listen_after_bind(); });
        while (!server.is_running()) { // until then, stop() would not be heard
            std::this_thread::yield();
        }
    }

    void stop() {
        if (thread.joinable()) {
            server.stop();
            thread.join();
        }
    }

    std::string url() const { return settings.address.url(port); }

  private:
    void configure() {
        server.new_task_queue = [this] { return new httplib::ThreadPool(settings.clients + otherThreads); };
        server.set_keep_alive_max_count(1);
        server.set_tcp_nodelay(true);
        server.set_read_timeout(timeout);
        server.set_write_timeout(timeout);
        server.set_payload_max_length(0);
        server.set_socket_options(setSocketOptions);
        server.set_default_headers(headers);
        server.set_pre_routing_handler([this](const Request& request, Response& response) {
            return admit(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                            : httplib::Server::HandlerResponse::Handled;
        });
        server.set_error_handler([](const Request&, Response& response) {
            if (response.body.empty()) {
                refuse(response, response.status,
                       response.status == 404 ? "there is nothing here" : "the request is not understood");
            }
        });
        server.set_exception_handler([](const Request&, Response& response, const std::exception_ptr&) {
            refuse(response, 500, "the request could not be answered");
        });
    }

    void listen() {
        errno = 0;
        const ListenAddress& address = settings.address;
        port = address.port == 0                                 ? server.bind_to_any_port(address.host)
               : server.bind_to_port(address.host, address.port) ? address.port
                                                                 : -1;
        if (port < 0) {
            const std::string place = address.url(address.port);
            if (errno == EADDRINUSE) {
                throw Error(place + ": another program listens on this port; --listen takes another one");
            }
            throw errno != 0 ? Error(place, errno) : Error(place + ": there is no such address");
        }
    }

    /// Whether the request may go on; otherwise it has been answered.
    bool admit(const Request& request, Response& response) {
        if (request.method != "GET" && request.method != "HEAD") {
            response.set_header("Allow", "GET, HEAD");
            refuse(response, 405, "nothing can be changed here");
            return false;
        }
        if (request.path == "/healthz") { // tells nothing but that the program works
            return true;
        }
        switch (access.judge(visitOf(request))) {
        case Verdict::WrongHost:
            refuse(response, 403, "this server is to be called by the loopback address or localhost");
            return false;
        case Verdict::ForeignPage:
            refuse(response, 403, "pages of other sites get nothing here");
            return false;
        case Verdict::NoToken:
            response.set_header("WWW-Authenticate", "Bearer realm=\"rksignal\"");
            refuse(response, 401,
                   "a token is needed: as ?token=... behind the address of the page, or as a bearer token");
            return false;
        case Verdict::WelcomeWithCookie:
            response.set_header("Set-Cookie", access.setCookie());
            return true;
        case Verdict::Welcome:
            return true;
        }
        return false;
    }

    void addRoutes() {
        const auto asset = [this](const std::string& path, std::string_view text, const char* type) {
            server.Get(path, [text, type](const Request&, Response& response) {
                response.set_content(text.data(), text.size(), type);
            });
        };
        asset("/", page_assets::page, "text/html; charset=utf-8");
        asset("/page\\.css", page_assets::style, "text/css; charset=utf-8");
        asset("/page\\.js", page_assets::script, "text/javascript; charset=utf-8");
        const auto json = [this](const std::string& path, auto&& textOf) {
            server.Get(path, [this, textOf](const Request&, Response& response) {
                response.set_content(textOf(), "application/json");
            });
        };
        json("/api/signals", [this] { return signals; });
        json("/api/values", [this] { return state.read([](const Live& live) { return valuesJson(live); }); });
        json("/api/conditions",
             [this] { return state.read([](const Live& live) { return triggersJson(live); }); });
        server.Get("/api/curves",
                   [this](const Request& request, Response& response) { curves(request, response); });
        server.Get("/api/events", [this](const Request&, Response& response) { events(response); });
        server.Get("/metrics", [this](const Request&, Response& response) { metrics(response); });
        server.Get("/healthz", [this](const Request&, Response& response) {
            if (state.sinceLastPoll() > std::chrono::seconds(timeout)) {
                refuse(response, 503, "shared memory has not been looked at for seconds");
            } else {
                response.set_content("ok\n", "text/plain; charset=utf-8");
            }
        });
    }

    void curves(const Request& request, Response& response) const {
        const std::size_t count = request.get_param_value_count("signal");
        if (count == 0 || count > mostCurves) {
            refuse(response, 400, "?signal=NAME is needed, up to 64 times");
            return;
        }
        const std::uint64_t span = parameter(request, "seconds", 60, std::uint64_t{24} * 3600) * second;
        const auto columns = static_cast<std::size_t>(parameter(request, "columns", 1000, mostColumns));
        std::vector<std::size_t> wanted;
        std::string unknown;
        const std::string text = state.read([&](const Live& live) -> std::string {
            for (std::size_t i = 0; i < count; ++i) {
                const std::string name = request.get_param_value("signal", i);
                const BaseSignal* const signal =
                    BaseSignal::getInstance(name, const_cast<SignalStorage*>(&live.catalog.storage()));
                if (signal == nullptr) {
                    unknown = name;
                    return {};
                }
                wanted.push_back(live.catalog.indexOf(signal->id));
            }
            return curvesJson(live, wanted, span, columns);
        });
        if (text.empty()) {
            refuse(response, 404, "there is no signal " + unknown);
        } else {
            response.set_content(text, "application/json");
        }
    }

    void events(Response& response) {
        if (open.fetch_add(1) >= settings.clients) {
            --open;
            response.set_header("Retry-After", "5");
            refuse(response, 503, "as many pages are open as may be, see --clients");
            return;
        }
        const auto stream = std::make_shared<EventStream>(state, open);
        response.set_header("X-Accel-Buffering", "no"); // proxies are to hand events on at once
        response.set_chunked_content_provider(
            "text/event-stream",
            [stream](std::size_t, httplib::DataSink& sink) { return stream->next(sink); });
    }

    void metrics(Response& response) const {
        const MetricsSnapshot snapshot = state.read([](const Live& live) { return metricsSnapshot(live); });
        response.set_content(openMetrics(snapshot, open.load(), RKSIGNAL_VERSION),
                             std::string(openMetricsType));
    }

    WebSettings settings;
    const LiveState& state;
    httplib::Server server;
    Access access;
    std::string signals; ///< signalsJson()
    std::atomic<std::size_t> open{0};
    int port = -1;
    std::thread thread;
};

WebServer::WebServer(const WebSettings& settings, const LiveState& state)
    : routes(std::make_unique<Routes>(settings, state)) {}

WebServer::~WebServer() {
    stop();
}

void WebServer::start() {
    routes->start();
}

void WebServer::stop() {
    routes->stop();
}

std::string WebServer::url() const {
    return routes->url();
}

} // namespace rksignal
