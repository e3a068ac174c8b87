/// \file
/// An MQTT broker for one test, and one who listens to it.
#pragma once

#include "tools/ProgramRun.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <mosquitto.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace rksignal {

/// Calls `holds` until it does. \return whether it did within half a minute
inline bool becomesTrue(const std::function<bool()>& holds) {
    for (int tries = 0; tries < 3'000; ++tries) {
        if (holds()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

/// A program that runs beside the test, its output in files.
class Background {
  public:
    Background(const TemporaryFolder& folder, const std::string& name, const std::string& command)
        : folder(folder), name(name), process(fork()) {
        if (process == 0) {
            const std::string script =
                "cd '" + folder.path("") + "'; exec " + command + " > " + name + ".out 2> " + name + ".err";
            execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
            _exit(127);
        }
    }
    ~Background() { end(SIGKILL); }
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    void send(int signal) const { kill(process, signal); }
    /// \return its exit status, or -1 if it was killed
    int end(int signal) {
        if (process <= 0) {
            return -1;
        }
        send(signal);
        int status = 0;
        waitpid(std::exchange(process, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string messages() const { return folder.read(name + ".err"); }

  private:
    const TemporaryFolder& folder;
    std::string name;
    pid_t process;
};

inline sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

/// A port of the loopback address that was free a moment ago.
inline std::string freePort() {
    const int server = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    EXPECT_EQ(bind(server, reinterpret_cast<sockaddr*>(&address), length), 0);
    getsockname(server, reinterpret_cast<sockaddr*>(&address), &length);
    close(server);
    return std::to_string(ntohs(address.sin_port));
}

/// Whether somebody listens on it.
inline bool answers(const std::string& port) {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(static_cast<std::uint16_t>(std::stoi(port)));
    const bool isThere = connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(client);
    return isThere;
}

/// Keeps what is published: the last message of each topic.
class Subscriber {
  public:
    explicit Subscriber(const std::string& port) : client(mosquitto_new(nullptr, true, this)) {
        mosquitto_message_callback_set(
            client, [](mosquitto*, void* object, const mosquitto_message* message) {
                auto& subscriber = *static_cast<Subscriber*>(object);
                subscriber.last[message->topic] = {static_cast<const char*>(message->payload),
                                                   static_cast<std::size_t>(message->payloadlen)};
                ++subscriber.count;
            });
        mosquitto_connect_callback_set(
            client, [](mosquitto* handle, void*, int) { mosquitto_subscribe(handle, nullptr, "#", 0); });
        mosquitto_subscribe_callback_set(client, [](mosquitto*, void* object, int, int, const int*) {
            static_cast<Subscriber*>(object)->isSubscribed = true;
        });
        const int number = std::stoi(port);
        becomesTrue([this, number] { return mosquitto_connect(client, "127.0.0.1", number, 60) == 0; });
        becomesTrue([this] {
            mosquitto_loop(client, 10, 1);
            return isSubscribed;
        });
    }
    ~Subscriber() { mosquitto_destroy(client); }
    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

    /// Waits until `topic` has this message.
    bool gets(const std::string& topic, const std::string& payload) {
        return becomesTrue([&] {
            if (mosquitto_loop(client, 10, 1) != MOSQ_ERR_SUCCESS) {
                mosquitto_reconnect(client);
            }
            return last.contains(topic) && last[topic] == payload;
        });
    }
    std::map<std::string, std::string> last;
    std::size_t count = 0;

  private:
    mosquitto* client;
    bool isSubscribed = false;
};

} // namespace rksignal
