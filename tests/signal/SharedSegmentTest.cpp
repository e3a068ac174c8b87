/// \file
/// How shared signals find, create, keep and remove their segments, and what they do without one.
#include "signal/SharedMemoryTest.h"

#include <cstddef>
#include <cstring>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <utility>

namespace {

/// What to do before certain system calls, if anything.
std::function<void(std::string_view)> beforeCall;

} // namespace

// Here instead of in the C library, for the signals too.
[[gnu::visibility("default")]] int shmget(key_t key, std::size_t size, int flags) noexcept {
    if (beforeCall && (flags & IPC_CREAT) != 0)
        beforeCall("shmget");
    return static_cast<int>(syscall(SYS_shmget, key, size, flags));
}
[[gnu::visibility("default")]] void* shmat(int shmId, const void* address, int flags) noexcept {
    if (beforeCall)
        beforeCall("shmat");
    return reinterpret_cast<void*>(syscall(SYS_shmat, shmId, address, flags));
}

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
    signal = std::make_unique<BaseSignal>(def, true);
    BaseSignal(signal.get()).def.instance = "mirror"; // leaves the segment to its parent
    signal.reset();
    EXPECT_EQ(output.take(), linesOf(def.instance, shmId,
                                     "[INFO] BaseSignal::createSharedMemory() NAME: shmId = ID found\n"
                                     "[INFO] BaseSignal::~BaseSignal() NAME: shmId = ID destroyed\n"));
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
    makeKeyFile(small.instance);
    EXPECT_GE(shmget(keyOf(small.instance), 50, IPC_CREAT | 0666), 0);
    expectFallsBack(small.instance, "shmget (NAME): Invalid argument");

    // One key file, a pipe for once, with two names: the first who uses it has it for good.
    mkfifo(("/tmp/" + winner.instance).c_str(), 0600);
    fs::create_hard_link("/tmp/" + winner.instance, "/tmp/" + loser.instance);
    const Peer peer({[&] {
        BaseSignal other(loser, true);
        return output.take() + rawText(other);
    }});
    SignalStorage other;
    BaseSignal::detachOnly = true;
    auto first = std::make_unique<BaseSignal>(winner, true);
    auto second = std::make_unique<BaseSignal>(winner, true, &other);
    second->writeRaw(1, 1);
    expectFallsBack(loser.instance, "key KEY already belongs to " + winner.instance);
    first.reset();
    second.reset();
    expectFallsBack(loser.instance, "key KEY already belongs to " + winner.instance);
    EXPECT_EQ(peer.step(),
              linesOf(loser.instance, -1,
                      "[ERROR] BaseSignal::createSharedMemory() NAME: key KEY already belongs to " +
                          winner.instance + "\ninvalid"));
    EXPECT_EQ(rawText(*std::make_unique<BaseSignal>(winner, true)), "1");
}

/// From now on this process gets `action` for a system call, if the bits `flags` are in its third argument.
void onSystemCall(unsigned number, unsigned action, unsigned flags = 0) {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 4),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
        BPF_STMT(BPF_ALU | BPF_AND | BPF_K, flags),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, flags, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, action),
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
            onSystemCall(SYS_shmat, SECCOMP_RET_ERRNO | EACCES);
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

void makeFile(const std::string& name) {
    std::ofstream("/tmp/" + name) << "";
}

/// Whether this process now has a /tmp of its own, where inode numbers follow each other, and segments of its
/// own.
bool isolate() {
    const int flags = CLONE_NEWNS | CLONE_NEWIPC;
    return (unshare(flags) == 0 || unshare(flags | CLONE_NEWUSER) == 0) &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", "/tmp", "tmpfs", 0, nullptr) == 0;
}

/// Makes and removes files until the next new file will have the key `key`.
void makeNext(key_t key) {
    makeFile("last");
    const unsigned count = static_cast<unsigned>(key - keyOf("last") - 1) & 0xFFFF;
    for (unsigned i = 0; i < count; ++i) {
        mknod("/tmp/passing", S_IFREG, 0);
        unlink("/tmp/passing");
    }
    unlink("/tmp/last");
}

/// Builds a signal, says what it finds, and writes.
std::string buildAndWrite(const std::string& name, unsigned long raw) {
    static std::unique_ptr<BaseSignal> signal;
    const CapturedOutput output;
    BaseSignal::detachOnly = true;
    signal.reset();
    signal = std::make_unique<BaseSignal>(byteDefinition(name), true);
    const bool isPrivate = signal->slot == &signal->privateSlot;
    const std::string value = rawText(*signal), lines = output.out.text();
    const auto belongs = lines.find("already belongs");
    signal->writeRaw(raw, 1);
    return name + (isPrivate ? " private " : " shared ") + value +
           (belongs == std::string::npos ? "\n" : ": " + lines.substr(belongs));
}

/// Two signals, A and B, in processes of their own, and what happens meanwhile in /tmp.
std::string runTwoSignals(const std::string& steps) {
    const auto build = [](const char* name, unsigned long raw) {
        return [=] { return buildAndWrite(name, raw); };
    };
    const Peer a{{build("A", 1), build("A", 2)}}, b{{build("B", 3), build("B", 4)}};
    std::vector<int> foreign;
    std::string text;
    const std::map<char, std::function<void()>> actions = {
        {'a', [&] { text += a.step(); }},
        {'b', [&] { text += b.step(); }},
        {'k', // leave the key file of A, without a segment
         [&] {
             const CapturedOutput output;
             const BaseSignal signal(byteDefinition("A"), true);
         }},
        {'n', [&] { makeNext(keyOf("A")); }},
        {'m', [&] { fs::rename("/tmp/A", "/tmp/B"); }},
        {'2', [&] { makeFile("A"), fs::create_hard_link("/tmp/A", "/tmp/B"); }},
        {'h', [&] { EXPECT_NE(shmget(keyOf("A"), 104, IPC_CREAT | 0666), -1); }}, // made by hand
        {'d', [&] { fs::remove("/tmp/A"); }},
        {'c', [&] { text += claimOf("B").substr(0, 2) + claimOf("A").substr(0, 2); }},
        {'t', // take all keys that can be had
         [&] {
             makeFile("first");
             for (key_t i = 0; i < 200; ++i)
                 foreign.push_back(shmget(keyOf("first") + i, 104, IPC_CREAT | IPC_EXCL | 0666));
         }},
        {'f', // free them again
         [&] {
             text += fs::exists("/tmp/A") ? "published\n" : "";
             for (const int segment : foreign)
                 shmctl(segment, IPC_RMID, nullptr);
         }},
    };
    for (const char step : steps)
        actions.at(step)();
    return text;
}

/// No process reads another signal's value, wherever keys meet.
TEST_F(SharedSegments, KeysThatMeetGiveNobodyTheValueOfAnother) {
    const struct {
        const char *name, *steps, *expected;
    } rows[] = {
        {"a key file without a segment keeps its key", "knbaba",
         "B shared invalid\nA shared invalid\nB shared 3\nA shared 1\n"},
        {"a deleted key file gives its key up", "kmbac", "B shared invalid\nA shared invalid\nB/A/"},
        {"a deleted key file keeps its key for the segment that it has left", "amb",
         "A shared invalid\nB private invalid: already belongs to A\n"},
        {"two old key files, A first", "2aba",
         "A shared invalid\nB private invalid: already belongs to A\nA shared 1\n"},
        {"two old key files, B first", "2bab",
         "B shared invalid\nA private invalid: already belongs to B\nB shared 3\n"},
        {"two old key files, and a segment made by hand for one of them", "2habdb",
         "A private invalid: already belongs to B\nB private invalid: already belongs to A\nB shared "
         "invalid\n"},
        {"all keys that can be had are taken", "taafb",
         "A private invalid: already belongs to another segment\n"
         "A private invalid: already belongs to another segment\nB shared invalid\n"},
    };
    for (const auto& row : rows) {
        const Peer system({[&] { return isolate() ? runTwoSignals(row.steps) : "not isolated"; }});
        const std::string answer = system.step();
        if (answer == "not isolated")
            GTEST_SKIP() << "this user may not have a /tmp of his own";
        EXPECT_EQ(answer, row.expected) << row.name;
    }
}

/// A process that dies anywhere on its way to a segment leaves nothing that the next one cannot mend.
TEST_F(SharedSegments, CreatorThatDiesHalfWayIsReplaced) {
    const struct {
        const char* diesBefore;
        unsigned call, flags;
    } rows[] = {
        {"making a key file", SYS_unlink, 0},
        {"closing it", SYS_close, 0},
        {"claiming the key", SYS_symlink, 0},
        {"publishing the key file", SYS_link, 0},
        {"creating the segment", SYS_shmget, IPC_CREAT},
        {"initialising the slot", SYS_shmat, 0},
        {"noting the segment", SYS_rename, 0},
    };
    BaseSignal::detachOnly = true;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.diesBefore);
        const baseSignalDef_t def = definition(std::to_string(row.call));
        const Peer creator({[&] {
            onSystemCall(row.call, SECCOMP_RET_KILL_PROCESS, row.flags);
            const BaseSignal signal(def, true);
            return std::string("survived");
        }});
        const Peer reader({[&] {
            BaseSignal signal(def, true);
            return rawText(signal) + output.err.take();
        }});
        EXPECT_EQ(creator.step(), "");
        BaseSignal signal(def, true);
        EXPECT_EQ(testing::PrintToString(signal), signalText(def.instance, freshState, true));
        EXPECT_EQ(signal.slot->size, 104U);
        EXPECT_STREQ(signal.slot->name, "Signal");
        signal.writeRaw(1, 2);
        EXPECT_EQ(reader.step(), "1");
        EXPECT_TRUE(claimOf(def.instance).starts_with(def.instance + "/" + std::to_string(signal.shmId)));
        EXPECT_FALSE(fs::exists("/tmp/.rksignal-new-0"));
    }
    EXPECT_EQ(output.err.text(), "");
}

/// What a process of another make has put into a segment is found, unless that is nothing at all.
TEST_F(SharedSegments, SegmentMadeByHandIsFound) {
    const std::pair<signalSlot_t, std::string> rows[] = {
        {{.valid = 7, .raw = 5, .timestamp = 6},
         "valid=true,value=0 (0x5),timestamp=1970-01-01 00:00:00.000000006 (0x6)"},
        {{.size = 1, .raw = 5}, "valid=false,value=0 (0x5),timestamp=1970-01-01 00:00:00.000000000 (0x0)"},
        {{}, freshState},
    };
    for (const auto& [content, state] : rows) {
        const baseSignalDef_t def = definition(state);
        makeKeyFile(def.instance);
        std::ofstream("/tmp/" + def.instance) << "old content";
        const int shmId = shmget(keyOf(def.instance), 104, IPC_CREAT | IPC_EXCL | 0666);
        void* const slot = shmat(shmId, nullptr, 0);
        std::memcpy(slot, &content, sizeof content);
        shmdt(slot);
        output.take();
        const BaseSignal signal(def, true);
        EXPECT_EQ(output.take(), linesOf(def.instance, shmId,
                                         "[INFO] BaseSignal::createSharedMemory() NAME: shmId = ID found\n"));
        EXPECT_EQ(testing::PrintToString(signal), signalText(def.instance, state, true));
        EXPECT_EQ(fs::file_size("/tmp/" + def.instance), 0U);
    }
}

/// One process is held up on its way to a segment, until the other one has one or seems to wait for it.
TEST_F(SharedSegments, OfTwoProcessesThatStartAtOnceOneCreatesAndNoValueIsWiped) {
    const struct {
        const char* name;
        bool hasKeyFile;
        std::string_view call; ///< before which the one is held up
    } rows[] = {
        {"creating", true, "shmget"}, {"initialising", true, "shmat"}, {"initialising anew", false, "shmat"}};
    BaseSignal::detachOnly = true;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const baseSignalDef_t def = definition(row.name);
        if (row.hasKeyFile)
            makeKeyFile(def.instance);
        int held[2] = {}, ready[2] = {};
        EXPECT_EQ(pipe(held) + pipe(ready), 0);
        std::optional<BaseSignal> signal;
        const auto build = [&] {
            signal.emplace(def, true);
            return signal->initSmData ? "created" : "found";
        };
        const Peer slow({[&] {
                             beforeCall = [&, once = false](std::string_view call) mutable {
                                 if (call != row.call || std::exchange(once, true))
                                     return;
                                 (void)!write(held[1], "h", 1);
                                 pollfd other{.fd = ready[0], .events = POLLIN, .revents = 0};
                                 poll(&other, 1, 300);
                             };
                             return build();
                         },
                         [&] { return rawText(*signal); }});
        const Peer quick({[&] {
            std::string outcome = build();
            signal->writeRaw(1, 2);
            (void)!write(ready[1], "r", 1);
            return outcome;
        }});
        slow.begin();
        pollfd holding{.fd = held[0], .events = POLLIN, .revents = 0};
        EXPECT_EQ(poll(&holding, 1, 10'000), 1);
        EXPECT_EQ(quick.step(), "found");
        EXPECT_EQ(slow.answer(), "created");
        EXPECT_EQ(slow.step(), "1");
        for (const int end : {held[0], held[1], ready[0], ready[1]})
            close(end);
    }
}

/// In a global container, which is destroyed after everything that the library has made meanwhile.
std::vector<std::unique_ptr<BaseSignal>> global;

TEST_F(SharedSegments, GlobalSignalsAreRemovedWhenTheProcessEnds) {
    const baseSignalDef_t defs[] = {definition("S"), definition("T")};
    const pid_t process = fork();
    if (process == 0) {
        for (const baseSignalDef_t& def : defs)
            global.push_back(std::make_unique<BaseSignal>(def, true));
        std::exit(0);
    }
    int status = -1;
    waitpid(process, &status, 0);
    EXPECT_EQ(status, 0);
    for (const baseSignalDef_t& def : defs)
        EXPECT_EQ(segmentOf(def.instance), -1);
}

TEST_F(SharedSegments, ThreadsBuildAndDestroyInStoragesOfTheirOwn) {
    const baseSignalDef_t common = definition("common");
    std::vector<std::vector<baseSignalDef_t>> definitions(4);
    for (std::size_t i = 0; i < 100; ++i)
        definitions[i % 4].push_back(definition(std::to_string(i)));
    const auto run = [&](const std::vector<baseSignalDef_t>& own) {
        SignalStorage storage(SignalTables::Own);
        for (const baseSignalDef_t& def : own) {
            BaseSignal signal(def, true, &storage), shared(common, true, &storage);
            EXPECT_TRUE(signal.initSmData);
            EXPECT_NE(signal.slot, &signal.privateSlot);
        }
    };
    std::vector<std::thread> threads;
    for (const auto& own : definitions)
        threads.emplace_back(run, own);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(segmentOf(common.instance), -1);
}

} // namespace
