/// \file
/// What tests of shared signals need: names of their own, a look at the system's segments, other processes.
#pragma once

#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

/// Whether the thread sanitizer watches: it slows attaching down and objects to deliberate misuse of a mutex.
#ifdef __SANITIZE_THREAD__
constexpr bool underThreadSanitizer = true;
#else
constexpr bool underThreadSanitizer = false;
#endif

/// Gives instance names that no other run uses, and removes their key files and segments at the end, as well
/// as those that an earlier run left behind when it was killed.
class SharedMemoryTest : public SignalTest {
  protected:
    static void SetUpTestSuite();
    void TearDown() override;

    /// A new name in /tmp, removed at the end with what it names.
    std::string instance(const std::string& name);
    /// The definition of a signal of 8 bytes under a new name.
    baseSignalDef_t definition(const std::string& name, const std::string& signal = "Signal");

  private:
    std::vector<std::string> instances;
};

std::string keyFile(const std::string& instance);
/// The key of an existing key file, worked out as any process does it.
key_t keyOf(const std::string& instance);
/// The identifier of the segment with this key, or -1; a removed segment has none.
int segmentOf(key_t key);
/// How many slots of all processes are attached to a segment.
unsigned long attachments(int shmId);
void writeFile(const std::string& path, const std::string& content);
std::string readFile(const std::string& path);

/// `[INFO] ...: shmId = N created` of a shared signal, or `found`.
std::string createdLine(const BaseSignal& signal, const char* what = "created");
/// Reads the raw value, or "invalid".
std::string rawText(BaseSignal& signal);

/// Another process, forked from this one, that runs the given steps one at a time when told to. Build it
/// before the test's own signals, so that it has none of them.
class Peer {
  public:
    using Step = std::function<std::string()>;

    explicit Peer(const std::vector<Step>& steps);
    /// Ends the process, without destroying what its steps have built.
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// Runs the next step. \return its answer
    std::string step();

  private:
    pid_t process = -1;
    int channel = -1;
};
