/// \file
/// The connection to an MQTT broker.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

struct mosquitto;

namespace rksignal {

struct BrokerSettings {
    std::string host = "localhost";
    int port = 0;            ///< 0: 8883 with TLS, else 1883
    std::string clientId;    ///< empty: one that the library makes up
    std::string user;        ///< empty: none
    std::string password;    ///< of the user
    std::string caFile;      ///< PEM; not empty: TLS
    std::string certificate; ///< PEM, of this client; empty: none
    std::string key;         ///< PEM, of the certificate
    std::string statusTopic; ///< gets `online`, and at the end, or when the connection breaks, `offline`
    int qos = 0;             ///< of all messages
};

/// Publishes by MQTT 3.1.1. Keeps connecting while there is no connection, after half a second first, then
/// half as often each time, every 30 s at last. What goes on is said once a change on `messages`.
///
/// Everything happens in wait(), in the caller's thread, which looks up the host's name as well: that may
/// take as long as the system lets it.
class Broker {
  public:
    /// Begins to connect. \throws Error if the settings cannot be used
    Broker(const BrokerSettings& settings, std::ostream& messages);
    /// Leaves without a word: the broker says `offline` in the client's place.
    ~Broker();
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    bool isUp() const { return isConnected; }
    /// Whether there is a connection, and no more messages are on their way than are good for it.
    bool hasRoom() const;
    /// \return whether the message is on its way; if not it can be tried again
    bool publish(const std::string& topic, const std::string& payload, bool retained);
    /// Sends and receives for so long, or until something has happened.
    /// \throws Error if the broker refuses the first connection
    void wait(std::uint64_t nanoseconds);
    /// Waits until everything that is on its way has arrived, then says `offline` and leaves. At most for so
    /// long.
    void leave(std::uint64_t nanoseconds);

    std::uint64_t connections() const { return connectionCount; }
    std::uint64_t lost() const { return lostMessages; } ///< on their way when a connection broke, at QoS 0

  private:
    struct Library {
        Library();
        ~Library();
    };
    struct Free {
        void operator()(mosquitto* client) const;
    };

    void configure();
    void encrypt();
    void followEvents();
    void tryToConnect();
    void settle(int code);
    void connected(int code);
    void disconnected();
    void sayOutage(const std::string& reason);
    void sendStatus(const char* status);

    Library library;
    BrokerSettings settings;
    std::ostream& messages;
    std::string address; ///< for messages
    std::unique_ptr<mosquitto, Free> client;
    bool isConnected = false;
    bool isConnecting = false;
    bool outageIsSaid = false;
    std::string lastError;         ///< what the MQTT library last complained about
    std::string refusal;           ///< why the broker refused, not yet thrown
    std::uint64_t nextTry = 0;     ///< steady clock, nanoseconds
    std::uint64_t tryDelay = 0;    ///< nanoseconds
    std::uint64_t tryDeadline = 0; ///< when a connection that was begun is given up
    std::size_t underWay = 0;      ///< messages
    std::uint64_t connectionCount = 0;
    std::uint64_t lostMessages = 0;
};

} // namespace rksignal
