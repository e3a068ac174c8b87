#include "signal/SharedMemoryTest.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const std::string namePrefix = "rksignal-test-";

void removeInstance(const std::string& instance) {
    if (const int segment = segmentOf(keyOf(instance)); segment >= 0)
        shmctl(segment, IPC_RMID, nullptr);
    std::error_code ignored;
    std::filesystem::remove_all(keyFile(instance), ignored);
}

[[noreturn]] void serve(const std::vector<Peer::Step>& steps, int channel) {
    alarm(100); // whatever happens, no process stays behind
    char order = 0;
    for (auto step = steps.begin(); read(channel, &order, 1) == 1 && step != steps.end(); ++step) {
        const std::string answer = (*step)() + '\0';
        if (write(channel, answer.data(), answer.size()) < 0)
            break;
    }
    _exit(0);
}

} // namespace

void SharedMemoryTest::SetUpTestSuite() {
    for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
        const std::string name = entry.path().filename();
        if (name.rfind(namePrefix, 0) == 0 && kill(std::stoi(name.substr(namePrefix.size())), 0) != 0)
            removeInstance(name);
    }
}

void SharedMemoryTest::TearDown() {
    SignalTest::TearDown();
    for (const std::string& name : instances)
        removeInstance(name);
}

std::string SharedMemoryTest::instance(const std::string& name) {
    instances.push_back(namePrefix + std::to_string(getpid()) + "-" + name);
    return instances.back();
}

baseSignalDef_t SharedMemoryTest::definition(const std::string& name, const std::string& signal) {
    baseSignalDef_t definition = byteDefinition(instance(name), signal);
    definition.bits = 64;
    return definition;
}

std::string keyFile(const std::string& instance) {
    return "/tmp/" + instance;
}

key_t keyOf(const std::string& instance) {
    return ftok(keyFile(instance).c_str(), 102);
}

int segmentOf(key_t key) {
    return key == -1 ? -1 : shmget(key, 0, 0);
}

unsigned long attachments(int shmId) {
    shmid_ds status{};
    return shmctl(shmId, IPC_STAT, &status) == 0 ? status.shm_nattch : 0;
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream(path) << content;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string createdLine(const BaseSignal& signal, const char* what) {
    return "[INFO] BaseSignal::createSharedMemory() " + signal.def.instance +
           ": shmId = " + std::to_string(signal.shmId) + " " + what + "\n";
}

std::string rawText(BaseSignal& signal) {
    unsigned long raw = 0, timestamp = 0;
    return signal.read(raw, timestamp) ? std::to_string(raw) : "invalid";
}

Peer::Peer(const std::vector<Step>& steps) {
    int ends[2] = {};
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
        throw std::runtime_error("no channel to another process");
    process = fork();
    if (process == 0) {
        close(ends[0]);
        serve(steps, ends[1]);
    }
    close(ends[1]);
    channel = ends[0];
}

Peer::~Peer() {
    close(channel);
    waitpid(process, nullptr, 0);
}

std::string Peer::step() {
    if (write(channel, "s", 1) != 1)
        return "(gone)";
    std::string answer;
    for (char byte = 0; read(channel, &byte, 1) == 1; answer += byte)
        if (byte == '\0')
            return answer;
    return answer + "(died)";
}
