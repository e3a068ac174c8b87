/// \file
/// How shared signals find, create, keep and remove their segments.
#include "signal/SharedMemoryTest.h"

#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <sys/shm.h>
#include <sys/stat.h>

namespace {

using SharedSegments = SharedMemoryTest;

std::string goneLine(const std::string& instance, int shmId, const char* what) {
    return "[INFO] BaseSignal::~BaseSignal() " + instance + ": shmId = " + std::to_string(shmId) + " " +
           what + "\n";
}

TEST_F(SharedSegments, FirstCreatesAndInitialises) {
    CapturedOutput output;
    const BaseSignal signal(definition("S", "Name"), true);
    EXPECT_EQ(output.out.take(), createdLine(signal));
    EXPECT_TRUE(output.out.isFlushed());
    EXPECT_TRUE(signal.initSmData && signal.shmem);
    EXPECT_EQ(signal.privateSlot.size, 0U);
    EXPECT_EQ(signal.key, keyOf(signal.def.instance));
    EXPECT_EQ(signal.shmId, segmentOf(signal.key));

    // Another look at the same bytes.
    const void* const again = shmat(signal.shmId, nullptr, SHM_RDONLY);
    ASSERT_NE(again, reinterpret_cast<void*>(-1));
    signalSlot_t expected;
    expected.size = 104;
    std::strcpy(expected.name, "Name");
    expected.raw = 0xaaaaaaaa;
    expected.timestamp = 0x55555555;
    EXPECT_EQ(std::string(static_cast<const char*>(again), sizeof expected),
              std::string(reinterpret_cast<const char*>(&expected), sizeof expected));
    shmdt(again);

    shmid_ds status{};
    shmctl(signal.shmId, IPC_STAT, &status);
    EXPECT_EQ(status.shm_segsz, 104U);
    EXPECT_EQ(status.shm_perm.mode & 0777, 0666);
}

TEST_F(SharedSegments, OtherProcessSeesValuesAtOnceAndKeepsARemovedSegment) {
    const baseSignalDef_t def = definition("S", "First");
    std::optional<BaseSignal> theirs;
    CapturedOutput output;
    Peer peer({[&] {
                   baseSignalDef_t second = def;
                   second.signal = "Second";
                   theirs.emplace(second, true);
                   return output.out.take() + theirs->slot->name + (theirs->initSmData ? " fresh " : " ") +
                          rawText(*theirs);
               },
               [&] { return rawText(*theirs); },
               [&] {
                   theirs->writeRaw(3, 4);
                   return rawText(*theirs);
               },
               [&] { return rawText(*theirs); }});
    auto signal = std::make_unique<BaseSignal>(def, true);
    signal->writeRaw(1, 2);
    EXPECT_EQ(peer.step(), createdLine(*signal, "found") + "First 1");
    signal->writeRaw(2, 3);
    EXPECT_EQ(peer.step(), "2");
    EXPECT_EQ(peer.step(), "3");
    EXPECT_EQ(rawText(*signal), "3");
    EXPECT_EQ(signal->slot->timestamp, 4U);
    EXPECT_EQ(attachments(signal->shmId), 2U);

    signal.reset();
    output.out.take();
    signal = std::make_unique<BaseSignal>(def, true);
    EXPECT_EQ(output.out.take(), createdLine(*signal));
    EXPECT_EQ(rawText(*signal), "invalid");
    EXPECT_EQ(peer.step(), "3");
}

TEST_F(SharedSegments, DetachOnlyLeavesTheSegmentToTheOthers) {
    const baseSignalDef_t def = definition("S");
    CapturedOutput output;
    BaseSignal::detachOnly = true;
    auto signal = std::make_unique<BaseSignal>(def, true);
    const int shmId = signal->shmId;
    signal->writeRaw(7, 1);
    output.out.take();
    signal.reset();
    EXPECT_EQ(output.out.take(), goneLine(def.instance, shmId, "detached"));
    EXPECT_TRUE(output.out.isFlushed());
    EXPECT_EQ(segmentOf(keyOf(def.instance)), shmId);
    EXPECT_EQ(attachments(shmId), 0U);

    BaseSignal::detachOnly = false;
    signal = std::make_unique<BaseSignal>(def, true);
    EXPECT_EQ(output.out.take(), createdLine(*signal, "found"));
    EXPECT_EQ(rawText(*signal), "7");
    signal.reset();
    EXPECT_EQ(output.out.take(), goneLine(def.instance, shmId, "destroyed"));
    EXPECT_EQ(segmentOf(keyOf(def.instance)), -1);
    EXPECT_TRUE(std::filesystem::exists(keyFile(def.instance))) << "the key file stays";
    EXPECT_EQ(output.err.text(), "");
}

TEST_F(SharedSegments, StoragesOfOneProcessShareAnInstance) {
    const baseSignalDef_t def = definition("S", "First");
    baseSignalDef_t otherName = def;
    otherName.signal = "Second";
    SignalStorage other;
    CapturedOutput output;
    BaseSignal first(def, true);
    auto second = std::make_unique<BaseSignal>(otherName, true, &other);
    EXPECT_EQ(output.out.take(), createdLine(first) + createdLine(*second, "found"));
    first.writeRaw(1, 2);
    EXPECT_EQ(rawText(*second), "1");
    EXPECT_STREQ(second->slot->name, "First");
    second.reset();
    EXPECT_EQ(segmentOf(first.key), -1) << "removed although attached";
    EXPECT_EQ(rawText(first), "1");
}

TEST_F(SharedSegments, DebugLinesOfLife) {
    const baseSignalDef_t def = definition("S");
    SignalStorage other;
    CapturedOutput output;
    BaseSignal::debug = 1;
    auto signal = std::make_unique<BaseSignal>(def, true);
    const auto expected = [&](const char* what, const char* init) {
        std::ostringstream text;
        text << createdLine(*signal, what) << "[DEBUG] BaseSignal::createSharedMemory() " << def.instance
             << ": key = 0x" << std::hex << signal->key << std::dec << ", shmId = " << signal->shmId
             << ", initSmData = " << init << "\n[DEBUG] BaseSignal::cInit() " << def.instance
             << ":d_lsbBit=0,d_startByte=0,d_bytes=8,d_shift=0,d_maksBits=ffffffffffffffff,"
                "d_signBit=8000000000000000,d_rawMask=ffffffffffffffff\n[DEBUG] BaseSignal::BaseSignal() "
             << def.instance << " created (shared memory)\n[DEBUG] BaseSignal::BaseSignal() "
             << freshText(def.instance, true) << "\n";
        return text.str();
    };
    EXPECT_EQ(output.out.take(), expected("created", "true"));
    BaseSignal second(def, true, &other);
    EXPECT_EQ(output.out.take(), expected("found", "false"));
    const int shmId = signal->shmId;
    signal.reset();
    const std::string life = "[DEBUG] BaseSignal::~BaseSignal() " + def.instance;
    EXPECT_EQ(output.out.take(), goneLine(def.instance, shmId, "destroyed") + life +
                                     ", shared memory and mutex deleted\n" + life + " deleted\n");
    BaseSignal plain(definition("plain"));
    std::cout << std::noboolalpha;
    EXPECT_TRUE(plain.createSharedMemory());
    EXPECT_NE(std::cout.flags() & std::ios_base::boolalpha, 0);
    plain.shmem = true;
    BaseSignal::debug = 0;
}

/// Expects a "Missing File" line and a signal that works without shared memory, as a fresh one.
void expectMissingFile(const baseSignalDef_t& def, int error) {
    SCOPED_TRACE(def.instance);
    CapturedOutput output;
    {
        BaseSignal signal(def, true);
        EXPECT_EQ(output.err.take(), "[ERROR] BaseSignal::createSharedMemory() " + def.instance +
                                         ": Missing File (/tmp/" + def.instance +
                                         "): " + std::strerror(error) + "\n");
        EXPECT_EQ(signal.key, -1);
        EXPECT_EQ(signal.shmId, -1);
        EXPECT_TRUE(signal.shmem);
        EXPECT_EQ(signal.slot, &signal.privateSlot);
        EXPECT_EQ(BaseSignal::getInstance(def.instance), &signal);
        std::ostringstream shown;
        shown << signal;
        EXPECT_EQ(shown.str(), freshText(def.instance, true));
        signal.writeRaw(5, 6);
        EXPECT_EQ(rawText(signal), "5");
        BaseSignal::debug = 1;
    }
    BaseSignal::debug = 0;
    EXPECT_EQ(output.out.text(),
              "[DEBUG] BaseSignal::~BaseSignal() " + def.instance + " deleted (no shared memory found)\n");
    EXPECT_EQ(output.err.text(), "");
}

TEST_F(SharedSegments, NamesThatAreNoFileInTmp) {
    const std::string folder = instance("folder"), outside = instance("outside");
    std::filesystem::create_directory(keyFile(folder));
    writeFile(keyFile(folder) + "/inside", "kept");
    writeFile(keyFile(outside), "kept");
    for (const std::string& name :
         {outside + "-no/S", folder + "/inside", folder + "/new", folder + "/", "../tmp/" + outside,
          "/tmp/" + outside, std::string(), std::string("."), std::string("..")})
        expectMissingFile(byteDefinition(name), ENOENT);
    expectMissingFile(byteDefinition(std::string(256, 'n')), ENAMETOOLONG);
    EXPECT_EQ(readFile(keyFile(folder) + "/inside"), "kept");
    EXPECT_EQ(readFile(keyFile(outside)), "kept");
    EXPECT_FALSE(std::filesystem::exists(keyFile(folder) + "/new"));
}

TEST_F(SharedSegments, KeyFileIsNeverReachedThroughASymbolicLink) {
    const std::string target = instance("target"), nowhere = instance("nowhere");
    writeFile(keyFile(target), "kept");
    for (const std::string& destination : {keyFile(target), keyFile(nowhere), std::string("/tmp")}) {
        const baseSignalDef_t def = definition("link");
        std::filesystem::create_symlink(destination, keyFile(def.instance));
        expectMissingFile(def, ELOOP);
        std::filesystem::remove(keyFile(def.instance));
    }
    EXPECT_EQ(readFile(keyFile(target)), "kept");
    EXPECT_FALSE(std::filesystem::exists(keyFile(nowhere)));
}

TEST_F(SharedSegments, AnyFileOfThatNameServesAsKeyFile) {
    const struct {
        const char* name;
        void (*make)(const std::string& path);
    } rows[] = {
        {"file", [](const std::string& path) { writeFile(path, "old content"); }},
        {"directory", [](const std::string& path) { std::filesystem::create_directory(path); }},
        {"FIFO", [](const std::string& path) { mkfifo(path.c_str(), 0600); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const baseSignalDef_t def = definition(row.name);
        row.make(keyFile(def.instance));
        const key_t key = keyOf(def.instance);
        CapturedOutput output;
        const BaseSignal signal(def, true);
        EXPECT_EQ(output.out.take() + output.err.take(), createdLine(signal));
        EXPECT_EQ(signal.key, key);
        EXPECT_EQ(keyOf(def.instance), key);
        if (std::filesystem::is_regular_file(keyFile(def.instance))) {
            EXPECT_EQ(readFile(keyFile(def.instance)), "") << "truncated";
        }
    }
}

TEST_F(SharedSegments, SegmentOfAnotherSizeIsRefused) {
    const baseSignalDef_t def = definition("S");
    writeFile(keyFile(def.instance), "");
    const key_t key = keyOf(def.instance);
    ASSERT_GE(shmget(key, 50, IPC_CREAT | 0666), 0);
    CapturedOutput output;
    {
        const BaseSignal signal(def, true);
        EXPECT_EQ(output.err.take(), "[ERROR] BaseSignal::createSharedMemory() " + def.instance +
                                         ": shmget (" + def.instance + "): Invalid argument\n");
        EXPECT_EQ(signal.key, key);
        EXPECT_EQ(signal.shmId, -1);
        EXPECT_EQ(signal.slot, &signal.privateSlot);
        EXPECT_EQ(signal.slot->raw, 0xaaaaaaaaU);
    }
    EXPECT_GE(segmentOf(key), 0);
    EXPECT_EQ(output.out.take() + output.err.take(), "");
}

TEST_F(SharedSegments, FailuresOfLettingGo) {
    const baseSignalDef_t def = definition("S");
    CapturedOutput output;
    auto signal = std::make_unique<BaseSignal>(def, true);
    const int shmId = signal->shmId;
    shmdt(signal->slot);
    shmctl(shmId, IPC_RMID, nullptr);
    output.out.take();
    signal.reset();
    const std::string head = "[ERROR] BaseSignal::~BaseSignal() ", tail = " (" + def.instance + "): ";
    EXPECT_EQ(output.err.take(),
              head + "shmdt" + tail + "Invalid argument\n" + head + "shmctl" + tail + "Invalid argument\n");
    EXPECT_EQ(output.out.take(), goneLine(def.instance, shmId, "destroyed"));
}

TEST_F(SharedSegments, MirrorLeavesTheSegmentToItsParent) {
    CapturedOutput output;
    BaseSignal parent(definition("S"), true);
    auto mirror = std::make_unique<BaseSignal>(&parent);
    EXPECT_EQ(mirror->slot, parent.slot);
    EXPECT_EQ(mirror->shmId, -1);
    EXPECT_TRUE(mirror->shmem);
    parent.writeRaw(1, 1);
    EXPECT_EQ(rawText(*mirror), "1");
    mirror->writeRaw(2, 2);
    EXPECT_EQ(rawText(parent), "2");
    EXPECT_EQ(attachments(parent.shmId), 1U);
    output.out.take();
    BaseSignal::debug = 1;
    mirror.reset();
    BaseSignal::debug = 0;
    EXPECT_EQ(output.out.take(), "[DEBUG] BaseSignal::~BaseSignal() " + parent.def.instance +
                                     " deleted (no shared memory found)\n");
    EXPECT_EQ(BaseSignal::getInstance(parent.def.instance), nullptr);
    EXPECT_EQ(segmentOf(parent.key), parent.shmId);
    EXPECT_EQ(rawText(parent), "2");
}

} // namespace
