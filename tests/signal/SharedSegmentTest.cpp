/// \file
/// How shared signals find, create, keep and remove their segments, and what they do without one.
#include "signal/SharedMemoryTest.h"

#include <cstddef>
#include <fstream>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <memory>
#include <optional>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace {

namespace fs = std::filesystem;

class SharedSegments : public SharedMemoryTest {
  protected:
    /// `lines` with the name, the key and the segment of a signal filled in.
    static std::string linesOf(const std::string& instance, int shmId, const std::string& lines) {
        std::ostringstream key;
        key << "0x" << std::hex << keyOf(instance);
        return filled(lines, {{"NAME", instance}, {"KEY", key.str()}, {"ID", std::to_string(shmId)}});
    }

    /// Builds a signal that cannot have shared memory: it says so in one line and works as a private one.
    void expectFallsBack(const std::string& instance, const std::string& line) {
        SCOPED_TRACE(instance);
        output.take();
        {
            BaseSignal signal(byteDefinition(instance), true);
            EXPECT_EQ(testing::PrintToString(signal), signalText(instance, freshState, true));
            signal.writeRaw(5, 6);
            EXPECT_EQ(signal.privateSlot.raw, 5U);
            BaseSignal::debug = 1;
        }
        BaseSignal::debug = 0;
        const std::string gone = "[DEBUG] BaseSignal::~BaseSignal() NAME deleted (no shared memory found)\n";
        EXPECT_EQ(
            output.err.take() + output.out.take(),
            linesOf(instance, -1, "[ERROR] BaseSignal::createSharedMemory() NAME: " + line + "\n" + gone));
    }
};

TEST_F(SharedSegments, OtherProcessSeesValuesAtOnceAndKeepsARemovedSegment) {
    const baseSignalDef_t def = definition("S");
    std::optional<BaseSignal> theirs;
    const auto read = [&] { return rawText(*theirs); };
    const Peer peer({[&] { return theirs.emplace(def, true), output.take() + read(); }, read,
                     [&] { return theirs->writeRaw(3, 4), read(); }, read});
    BaseSignal::detachOnly = true;
    auto signal = std::make_unique<BaseSignal>(def, true);
    const int shmId = segmentOf(def.instance);
    EXPECT_EQ(testing::PrintToString(*signal), signalText(def.instance, freshState, true));
    signal->writeRaw(1, 2);
    EXPECT_EQ(peer.step(), linesOf(def.instance, shmId,
                                   "[INFO] BaseSignal::createSharedMemory() NAME: shmId = ID found\n1"));
    signal->writeRaw(2, 3);
    EXPECT_EQ(peer.step(), "2");
    EXPECT_EQ(peer.step(), "3");
    EXPECT_EQ(rawText(*signal), "3");
    EXPECT_TRUE(output.out.isFlushed());
    signal.reset();
    EXPECT_EQ(output.take(),
              linesOf(def.instance, shmId, R"([INFO] BaseSignal::createSharedMemory() NAME: shmId = ID created
[INFO] BaseSignal::~BaseSignal() NAME: shmId = ID detached
)"));

    BaseSignal::detachOnly = false;
    BaseSignal::debug = 1;
    signal = std::make_unique<BaseSignal>(def, true);
    BaseSignal(signal.get()).def.instance = "mirror"; // leaves the segment to its parent
    signal.reset();
    BaseSignal::debug = 0;
    EXPECT_EQ(output.take(),
              linesOf(def.instance, shmId, R"([INFO] BaseSignal::createSharedMemory() NAME: shmId = ID found
[DEBUG] BaseSignal::createSharedMemory() NAME: key = KEY, shmId = ID, initSmData = false
[DEBUG] BaseSignal::cInit() NAME:d_lsbBit=0,d_startByte=0,d_bytes=8,d_shift=0,d_maksBits=ffffffffffffffff,d_signBit=8000000000000000,d_rawMask=ffffffffffffffff
[DEBUG] BaseSignal::BaseSignal() NAME created (shared memory)
[DEBUG] BaseSignal::BaseSignal() instance=NAME,signal=Signal,shmem=true,valid=true,value=0 (0x3),timestamp=1970-01-01 00:00:00.000000004 (0x4)
[DEBUG] BaseSignal::BaseSignal() child NAME created (shared memory)
[DEBUG] BaseSignal::BaseSignal() instance=NAME,signal=Signal,shmem=true,valid=true,value=0 (0x3),timestamp=1970-01-01 00:00:00.000000004 (0x4)
[DEBUG] BaseSignal::~BaseSignal() mirror deleted (no shared memory found)
[INFO] BaseSignal::~BaseSignal() NAME: shmId = ID destroyed
[DEBUG] BaseSignal::~BaseSignal() NAME, shared memory and mutex deleted
[DEBUG] BaseSignal::~BaseSignal() NAME deleted
)"));
    EXPECT_EQ(segmentOf(def.instance), -1);
    EXPECT_EQ(peer.step(), "3");
}

TEST_F(SharedSegments, NamesOutsideTmpAndSymbolicLinksAreRefused) {
    const std::string folder = definition("folder").instance, target = definition("target").instance,
                      link = definition("link").instance, dangling = definition("dangling").instance;
    fs::create_directory("/tmp/" + folder);
    std::ofstream("/tmp/" + target) << "kept";
    fs::create_symlink("/tmp/" + target, "/tmp/" + link);
    fs::create_symlink("/tmp/" + folder + "/new", "/tmp/" + dangling);
    for (const std::string& name : {folder + "/new", "../tmp/" + target, "/tmp/" + target, target + '\0',
                                    std::string(), std::string("..")})
        expectFallsBack(name, "Missing File (/tmp/NAME): No such file or directory");
    expectFallsBack(std::string(256, 'n'), "Missing File (/tmp/NAME): File name too long");
    for (const std::string& name : {link, dangling})
        expectFallsBack(name, "Missing File (/tmp/NAME): Too many levels of symbolic links");
    EXPECT_EQ(fs::file_size("/tmp/" + target), 4U);
    EXPECT_FALSE(fs::exists("/tmp/" + folder + "/new"));
}

TEST_F(SharedSegments, SegmentsOfOthersAreReportedAndNotUsed) {
    const baseSignalDef_t small = definition("small"), winner = definition("winner"),
                          loser = definition("loser");
    std::ofstream("/tmp/" + small.instance) << "";
    EXPECT_GE(shmget(keyOf(small.instance), 50, IPC_CREAT | 0666), 0);
    expectFallsBack(small.instance, "shmget (NAME): Invalid argument");

    // One key file, a pipe for once, with two names: both have its key until the last user has let go.
    mkfifo(("/tmp/" + winner.instance).c_str(), 0600);
    fs::create_hard_link("/tmp/" + winner.instance, "/tmp/" + loser.instance);
    SignalStorage other;
    BaseSignal::detachOnly = true;
    auto first = std::make_unique<BaseSignal>(winner, true);
    auto second = std::make_unique<BaseSignal>(winner, true, &other);
    second->writeRaw(1, 1);
    expectFallsBack(loser.instance, "key KEY already belongs to " + winner.instance);
    first.reset();
    expectFallsBack(loser.instance, "key KEY already belongs to " + winner.instance);
    second.reset();
    BaseSignal next(loser, true);
    EXPECT_EQ(rawText(next), "1");
}

/// From now on shmat fails with "permission denied" in this process.
void forbidAttaching() {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_shmat, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EACCES),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{.len = std::size(program), .filter = program};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter);
}

TEST_F(SharedSegments, FailuresToAttachAndToLetGoAreReported) {
    const baseSignalDef_t def = definition("S");
    const Peer peer({[&] {
        {
            forbidAttaching();
            const BaseSignal signal(def, true);
            shmctl(signal.shmId, IPC_RMID, nullptr);
            std::cerr << "raw value of a found slot: " << signal.slot->raw << "\n"; // never initialised
        }
        return output.err.take();
    }});
    BaseSignal::detachOnly = true;
    { const BaseSignal signal(def, true); }
    EXPECT_EQ(peer.step(), linesOf(def.instance, -1,
                                   R"([ERROR] BaseSignal::createSharedMemory() shmat (NAME): Permission denied
raw value of a found slot: 0
[ERROR] BaseSignal::~BaseSignal() shmdt (NAME): Invalid argument
[ERROR] BaseSignal::~BaseSignal() shmctl (NAME): Invalid argument
)"));
}

TEST_F(SharedSegments, ThousandsOfSignalsKeepTheirValuesInTwoProcesses) {
    constexpr std::size_t count = 4'000;
    std::vector<baseSignalDef_t> definitions;
    std::vector<std::unique_ptr<BaseSignal>> signals; // of either process
    for (std::size_t i = 0; i < count; ++i)
        definitions.push_back(definition(std::to_string(i)));
    const auto build = [&] {
        int created = 0;
        for (const baseSignalDef_t& def : definitions)
            created += signals.emplace_back(std::make_unique<BaseSignal>(def, true))->initSmData ? 1 : 0;
        return std::to_string(created) + " created";
    };
    const auto writeFrom = [&](std::size_t first) {
        for (std::size_t i = 0; i < count; ++i)
            signals[i]->writeRaw(first + i, i);
    };
    const auto wrong = [&](std::size_t first) {
        int number = 0;
        for (std::size_t i = 0; i < count; ++i)
            number += rawText(*signals[i]) != std::to_string(first + i) ? 1 : 0;
        return std::to_string(number) + " wrong";
    };
    const Peer peer({build, [&] { return wrong(0); }, [&] { return writeFrom(9'000), wrong(9'000); }});
    // Segments of other programs on the keys that the next key files are likely to have.
    std::vector<int> foreign;
    std::ofstream("/tmp/" + definitions[0].instance) << "";
    for (key_t key = keyOf(definitions[0].instance), i = 0; i < 24; ++i)
        foreign.push_back(shmget(key + i, 104, IPC_CREAT | IPC_EXCL | 0666));
    fs::remove("/tmp/" + definitions[0].instance);

    EXPECT_EQ(build(), "4000 created");
    writeFrom(0);
    EXPECT_EQ(wrong(0), "0 wrong");
    EXPECT_EQ(peer.step(), "0 created");
    EXPECT_EQ(peer.step(), "0 wrong");
    EXPECT_EQ(peer.step(), "0 wrong");
    EXPECT_EQ(wrong(9'000), "0 wrong");
    EXPECT_EQ(output.err.text(), "");
    for (const int segment : foreign)
        shmctl(segment, IPC_RMID, nullptr);
}

} // namespace
