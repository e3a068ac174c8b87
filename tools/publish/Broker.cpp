#include "publish/Broker.h"

#include "text/Error.h"
#include "text/PrintableText.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mosquitto.h>
#include <ostream>
#include <sys/socket.h>
#include <thread>

namespace rksignal {
namespace {

constexpr std::uint64_t millisecond = 1'000'000;
constexpr std::uint64_t firstDelay = 500 * millisecond;
constexpr std::uint64_t longestDelay = 30'000 * millisecond;
constexpr std::uint64_t connectTime = 10'000 * millisecond; ///< up to the broker's answer
constexpr int keepAlive = 20;                               ///< seconds
/// Messages that may be under way; what comes after waits where the oldest can still be dropped.
constexpr std::size_t maxUnderWay = 64;
/// Bytes that the system may hold for the broker: what lies there cannot be dropped any more.
constexpr int sendBuffer = 64 * 1024;

std::uint64_t steadyNow() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

std::string reasonOf(int code) {
    return code == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(code); // NOLINT: one thread
}

void check(int code, const std::string& what) {
    if (code != MOSQ_ERR_SUCCESS) {
        throw Error(what + ": " + reasonOf(code));
    }
}

Broker& brokerOf(void* object) {
    return *static_cast<Broker*>(object);
}

} // namespace

Broker::Library::Library() {
    mosquitto_lib_init();
}

Broker::Library::~Library() {
    mosquitto_lib_cleanup();
}

void Broker::Free::operator()(mosquitto* client) const {
    mosquitto_destroy(client);
}

Broker::Broker(const BrokerSettings& given, std::ostream& messages) : settings(given), messages(messages) {
    if (settings.port == 0) {
        settings.port = settings.caFile.empty() ? 1883 : 8883;
    }
    const bool isLong = settings.host.find(':') != std::string::npos; // an address of IPv6
    address =
        printable(isLong ? "[" + settings.host + "]" : settings.host) + ":" + std::to_string(settings.port);
    client.reset(mosquitto_new(settings.clientId.empty() ? nullptr : settings.clientId.c_str(), true, this));
    if (client == nullptr) {
        throw Error("--client-id " + printable(settings.clientId), errno);
    }
    configure();
    tryToConnect();
}

Broker::~Broker() = default;

void Broker::configure() {
    mosquitto* const handle = client.get();
    if (!settings.user.empty()) {
        check(mosquitto_username_pw_set(handle, settings.user.c_str(), settings.password.c_str()), "--user");
    }
    if (!settings.caFile.empty()) {
        encrypt();
    }
    constexpr char offline[] = "offline";
    check(mosquitto_will_set(handle, settings.statusTopic.c_str(), sizeof offline - 1, offline, settings.qos,
                             true),
          "last will");
    mosquitto_max_inflight_messages_set(handle, maxUnderWay);
    mosquitto_int_option(handle, MOSQ_OPT_TCP_NODELAY, 1);
    followEvents();
}

void Broker::encrypt() {
    const auto orNull = [](const std::string& path) { return path.empty() ? nullptr : path.c_str(); };
    const std::string files = settings.caFile +
                              (settings.certificate.empty() ? "" : ", " + settings.certificate) +
                              (settings.key.empty() ? "" : ", " + settings.key);
    const int code = mosquitto_tls_set(client.get(), settings.caFile.c_str(), nullptr,
                                       orNull(settings.certificate), orNull(settings.key), nullptr);
    check(code, "TLS with " + printable(files));
}

void Broker::followEvents() {
    mosquitto* const handle = client.get();
    mosquitto_connect_callback_set(
        handle, [](mosquitto*, void* object, int code) { brokerOf(object).connected(code); });
    mosquitto_disconnect_callback_set(handle,
                                      [](mosquitto*, void* object, int) { brokerOf(object).disconnected(); });
    mosquitto_log_callback_set(handle, [](mosquitto*, void* object, int level, const char* text) {
        if (level == MOSQ_LOG_ERR) {
            brokerOf(object).lastError = printable(text); // of TLS: nothing else tells what is wrong
        }
    });
    mosquitto_publish_callback_set(handle, [](mosquitto*, void* object, int) {
        Broker& broker = brokerOf(object);
        broker.underWay -= std::min<std::size_t>(broker.underWay, 1);
    });
}

void Broker::tryToConnect() {
    tryDelay = std::clamp(2 * tryDelay, firstDelay, longestDelay);
    isConnecting = true;
    tryDeadline = steadyNow() + connectTime;
    settle(mosquitto_connect_async(client.get(), settings.host.c_str(), settings.port, keepAlive));
}

/// Takes the result of a call that connects, or needs a connection.
void Broker::settle(int code) {
    if (code == MOSQ_ERR_SUCCESS) {
        return;
    }
    const std::string reason = code == MOSQ_ERR_TLS && !lastError.empty() ? lastError : reasonOf(code);
    disconnected();
    sayOutage(reason);
}

void Broker::connected(int code) {
    if (code != 0) {
        const std::string reason = mosquitto_connack_string(code);
        if (connectionCount == 0 && code != 3) { // 3: it is not available now
            refusal = reason;
        }
        sayOutage(reason);
        return; // it closes the connection
    }
    setsockopt(mosquitto_socket(client.get()), SOL_SOCKET, SO_SNDBUF, &sendBuffer, sizeof sendBuffer);
    isConnected = true;
    isConnecting = false;
    outageIsSaid = false;
    tryDelay = 0;
    ++connectionCount;
    messages << "connected to " << address << std::endl;
    sendStatus("online");
}

void Broker::disconnected() {
    if (settings.qos == 0) { // others are sent again
        lostMessages += underWay;
        underWay = 0;
    }
    if (isConnected || isConnecting) {
        nextTry = steadyNow() + tryDelay;
    }
    isConnected = false;
    isConnecting = false;
}

void Broker::sayOutage(const std::string& reason) {
    if (!outageIsSaid) {
        messages << "no connection to " << address << ": " << reason << "; trying again" << std::endl;
        outageIsSaid = true;
    }
}

bool Broker::hasRoom() const {
    return isConnected && underWay < maxUnderWay;
}

bool Broker::publish(const std::string& topic, const std::string& payload, bool retained) {
    ++underWay; // it may have arrived when the call returns
    const int code = mosquitto_publish(client.get(), nullptr, topic.c_str(), static_cast<int>(payload.size()),
                                       payload.data(), settings.qos, retained);
    if (code != MOSQ_ERR_SUCCESS) {
        underWay -= std::min<std::size_t>(underWay, 1);
        settle(code);
    }
    return code == MOSQ_ERR_SUCCESS;
}

void Broker::sendStatus(const char* status) {
    publish(settings.statusTopic, status, true);
}

void Broker::wait(std::uint64_t nanoseconds) {
    if (!isConnected && !isConnecting && steadyNow() >= nextTry) {
        tryToConnect();
    }
    if (isConnecting && steadyNow() >= tryDeadline) {
        disconnected();
        sayOutage("no answer");
    }
    if (!isConnected && !isConnecting) {
        std::this_thread::sleep_for(std::chrono::nanoseconds(nanoseconds));
        return;
    }
    const auto timeout = static_cast<int>(std::min<std::uint64_t>(nanoseconds / millisecond, 1'000));
    settle(mosquitto_loop(client.get(), timeout, 1));
    if (!refusal.empty()) {
        throw Error(address + ": " + refusal);
    }
}

void Broker::leave(std::uint64_t nanoseconds) {
    const std::uint64_t deadline = steadyNow() + nanoseconds;
    const auto arrive = [this, deadline] {
        while (isConnected && underWay > 0 && steadyNow() < deadline) {
            wait(10 * millisecond);
        }
    };
    arrive();
    if (isConnected) {
        sendStatus("offline");
        arrive();
        mosquitto_disconnect(client.get());
    }
}

} // namespace rksignal
