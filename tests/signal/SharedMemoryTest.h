/// \file
/// What tests of shared signals need: names of their own, a look at the system's segments, other processes.
#pragma once

#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/// The key of an existing key file, as any process finds it; then the segment with it.
inline key_t keyOf(const std::string& instance) {
    return ftok(("/tmp/" + instance).c_str(), 102);
}
inline int segmentOf(const std::string& instance) {
    return shmget(keyOf(instance), 0, 0);
}

/// Reads the raw value, or "invalid".
inline std::string rawText(BaseSignal& signal) {
    unsigned long raw = 0, timestamp = 0;
    return signal.read(raw, timestamp) ? std::to_string(raw) : "invalid";
}

/// Another process, forked from this one, that runs the given steps one at a time when told to. Build it
/// before the test's own signals, so that it has none of them; it ends without destroying what it has built.
class Peer {
  public:
    explicit Peer(const std::vector<std::function<std::string()>>& steps) {
        int ends[2] = {};
        socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends);
        process = fork();
        channel = ends[process == 0 ? 1 : 0];
        close(ends[process == 0 ? 0 : 1]);
        for (auto step = steps.begin(); process == 0; ++step) {
            alarm(100); // whatever happens, no process stays behind
            char order = 0;
            if (step == steps.end() || recv(channel, &order, 1, 0) != 1)
                _exit(0);
            const std::string text = (*step)();
            send(channel, text.data(), text.size(), 0);
        }
    }
    ~Peer() {
        close(channel);
        waitpid(process, nullptr, 0);
    }
    void begin() const { send(channel, "s", 1, 0); }
    /// What the step that was begun says.
    std::string answer() const {
        char text[4096];
        const auto length = recv(channel, text, sizeof text, 0);
        return {text, text + std::max<ssize_t>(length, 0)};
    }
    std::string step() const { return begin(), answer(); }

  private:
    pid_t process;
    int channel;
};

/// Where the claim of a key lies, and what it says.
inline std::string claimFile(key_t key) {
    std::ostringstream path;
    path << "/tmp/.rksignal-key-" << std::hex << key;
    return path.str();
}
inline std::string claimOf(const std::string& instance) {
    std::error_code none;
    return std::filesystem::read_symlink(claimFile(keyOf(instance)), none).string();
}

/// Gives instance names that no other run uses, and removes their key files, claims and segments at the end:
/// a later run may get a file with the key of a segment that was left.
class SharedMemoryTest : public SignalTest {
  protected:
    void TearDown() override {
        SignalTest::TearDown();
        for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator("/tmp"))
            if (entry.path().filename().string().starts_with(".rksignal-key-"))
                removeClaimed(entry.path());
        for (const std::string& instance : instances) {
            shmctl(segmentOf(instance), IPC_RMID, nullptr);
            std::filesystem::remove_all("/tmp/" + instance);
        }
    }

    /// The definition of a signal of 8 bytes under a new name.
    baseSignalDef_t definition(const std::string& name) {
        const std::string instance = "rksignal-test-" + std::to_string(getpid()) + "-" + name;
        instances.insert(instance);
        baseSignalDef_t def = byteDefinition(instance);
        def.bits = 64;
        return def;
    }

    /// Makes a key file by hand, with a key that neither a segment nor another file has.
    static void makeKeyFile(const std::string& instance) {
        const std::string path = "/tmp/" + instance;
        std::vector<std::string> passedOver; // kept until the end, or the next file would be the same again
        while (std::ofstream(path) << "", isKeyTaken(instance)) {
            passedOver.push_back("/tmp/.rksignal-" + instance + std::to_string(passedOver.size()));
            std::filesystem::rename(path, passedOver.back());
        }
        for (const std::string& file : passedOver)
            std::filesystem::remove(file);
    }

    CapturedOutput output;

  private:
    static bool isKeyTaken(const std::string& instance) {
        const std::filesystem::directory_iterator files("/tmp");
        return segmentOf(instance) >= 0 ||
               std::any_of(begin(files), end(files), [&](const std::filesystem::directory_entry& file) {
                   const std::string name = file.path().filename();
                   return name != instance && !name.starts_with(".rksignal-") &&
                          keyOf(name) == keyOf(instance);
               });
    }

    /// Removes a claim of one of the instances, and the segment that it names.
    void removeClaimed(const std::filesystem::path& claim) {
        std::error_code none;
        std::istringstream text(std::filesystem::read_symlink(claim, none).string());
        std::string instance;
        std::getline(text, instance, '/');
        if (!instances.contains(instance))
            return;
        int shmId = -1;
        if (text >> shmId)
            shmctl(shmId, IPC_RMID, nullptr);
        std::filesystem::remove(claim);
    }

    std::set<std::string> instances;
};
