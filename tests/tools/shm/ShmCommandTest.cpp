/// \file
/// `rksignal shm`: what it lists, and that it changes nothing unasked.
#include "signal/SharedMemoryTest.h"
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <pwd.h>

namespace rksignal {
namespace {

class Shm : public SharedMemoryTest {
  protected:
    void SetUp() override {
        SharedMemoryTest::SetUp();
        BaseSignal::detachOnly = true;
        { BaseSignal(left, true).writeRaw(0x12, 1); }
        pattern = " --only '" + left.instance.substr(0, left.instance.size() - 4) + "*'";
    }

    ProgramResult shm(const std::string& arguments) const {
        return folder.run("rksignal shm" + pattern + arguments);
    }

    /// Runs it on a terminal and answers its question.
    std::string answer(const std::string& arguments, const std::string& text) const {
        int terminal = -1;
        const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child == 0) {
            const std::string script = RKSIGNAL_PROGRAM " shm" + pattern + arguments;
            execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
            _exit(127);
        }
        EXPECT_EQ(write(terminal, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        std::string shown;
        char block[4096];
        for (ssize_t count = 0; (count = read(terminal, block, sizeof block)) > 0;) {
            shown.append(block, static_cast<std::size_t>(count));
        }
        close(terminal);
        waitpid(child, nullptr, 0);
        return shown;
    }

    baseSignalDef_t left = definition("left");
    std::string pattern;
    TemporaryFolder folder;
};

TEST_F(Shm, ListsAllForms) {
    const std::string number = std::to_string(segmentOf(left.instance)), pid = std::to_string(getpid());
    std::ostringstream key;
    key << "0x" << std::hex << keyOf(left.instance);
    const auto expected = [&](const std::string& text) {
        return filled(text, {{"NAME", left.instance},
                             {"SEGMENT", number},
                             {"KEY", key.str()},
                             {"PID", pid},
                             {"OWNER", getpwuid(getuid())->pw_name}}); // NOLINT: one thread
    };
    const std::string summary = "1 slot, something is wrong with 1: 1 left-over\n";
    const ProgramResult csv = shm(" --format csv"), json = shm(" --format jsonl"), table = shm(" --faulty");
    EXPECT_EQ(
        csv.output,
        expected(
            "instance,signal,segment,key,size,owner,mode,attached,creator,valid,raw,time,lock,holder,"
            "faults,other\nNAME,Signal,SEGMENT,KEY,104,OWNER,0666,0,PID,1,18,0.000000001,0,,left-over,\n"));
    EXPECT_EQ(
        json.output,
        expected("{\"instance\":\"NAME\",\"expected\":false,\"key\":\"KEY\",\"segment\":SEGMENT,\"size\":104,"
                 "\"owner\":\"OWNER\",\"mode\":\"0666\",\"attached\":0,\"creator\":PID,\"signal\":\"Signal\","
                 "\"valid\":true,\"lock\":0,\"raw\":18,\"timestamp\":1,\"faults\":[\"left-over\"]}\n"));
    EXPECT_TRUE(table.output.ends_with("  left over\n")) << table.output;
    EXPECT_EQ(table.output.substr(0, table.output.find(' ')), "instance");
    for (const ProgramResult& result : {csv, json, table}) {
        EXPECT_EQ(result.messages, summary);
        EXPECT_EQ(result.status, 1);
    }
    folder.write("m.dbc", "BO_ 1 Shm" + pid + ": 8 X\n SG_ Speed : 0|16@1+ (1,0) [0|0] \"\" X\n");
    const ProgramResult missing = folder.run("rksignal shm --dbc m.dbc --only 'Shm*' --format csv");
    EXPECT_EQ(missing.output.substr(missing.output.find('\n') + 1),
              "Shm" + pid + ".Speed" + std::string(14, ',') + "missing,\n");
    EXPECT_EQ(missing.status, 1);
}

TEST_F(Shm, ChangesNothingUnasked) {
    const int segment = segmentOf(left.instance);
    const ProgramResult unasked = shm(" --remove --release < /dev/null");
    EXPECT_EQ(unasked.messages, "rksignal: standard input is no terminal on which to ask before something is "
                                "changed: give --yes\n");
    EXPECT_EQ(unasked.status, 2);
    const std::string question = "remove 1 slot (left over, their values get lost)? [y/N] ";
    EXPECT_NE(answer(" --remove", "n\n").find(question), std::string::npos);
    EXPECT_EQ(segmentOf(left.instance), segment);
    const std::string done = filled("removed NAME (segment ID)\r\n0 slots, something is wrong with none\r\n",
                                    {{"NAME", left.instance}, {"ID", std::to_string(segment)}});
    EXPECT_TRUE(answer(" --remove", "y\n").ends_with(done));
    const ProgramResult again = shm(" --remove --yes");
    EXPECT_EQ(again.messages, "there is nothing to remove\n0 slots, something is wrong with none\n");
    EXPECT_EQ(again.status, 0);
}

TEST_F(Shm, ReleasesLocks) {
    BaseSignal signal(left, true);
    signal.slot->mutex.__data.__lock = 1;
    const ProgramResult result = shm(" --release --yes");
    EXPECT_EQ(result.messages, filled("released NAME (segment ID)\n1 slot, something is wrong with none\n",
                                      {{"NAME", left.instance}, {"ID", std::to_string(signal.shmId)}}));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(rawText(signal), "invalid");
}

} // namespace
} // namespace rksignal
