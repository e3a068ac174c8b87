/// \file
/// What the program writes does not depend on the number of threads.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <string>

namespace rksignal {
namespace {

std::string ofJobs(const TemporaryFolder& folder, const std::string& command, const std::string& jobs) {
    const ProgramResult result = folder.run("JOBS='" + jobs + "'; " + command);
    return std::to_string(result.status) + '\n' + result.messages + result.output;
}

/// \param command gets `$JOBS`
void expectSameOfAnyJobs(const TemporaryFolder& folder, const std::string& command) {
    const std::string expected = ofJobs(folder, command, "--jobs 1");
    EXPECT_GT(expected.size(), std::size_t{100}) << command << expected;
    for (const char* const jobs : {"--jobs 2", "--jobs 5"}) {
        EXPECT_TRUE(ofJobs(folder, command, jobs) == expected) << command << ' ' << jobs;
    }
}

class DecodeJobs : public testing::Test {
  protected:
    /// The recordings with definitions as `data`, and damaged ones.
    void SetUp() override {
        const char* const recordings = std::getenv("RKSIGNAL_RECORDINGS");
        if (recordings == nullptr) {
            GTEST_SKIP() << "RKSIGNAL_RECORDINGS is not set";
        }
        std::filesystem::create_directory_symlink(recordings, folder.path("data"));
        folder.run("cp data/kona-ev-can/230112*.candump.log kona.log; cp data/SavvyCAN/candump.log leaf.log;"
                   "rksignal convert -q kona.log kona.rktrace; rksignal convert -q kona.log kona.pcapng;"
                   "gzip -k kona.log kona.rktrace");
        for (const std::string name : {"log", "rktrace", "pcapng"}) {
            std::string damaged = folder.read("kona." + name);
            for (std::size_t at = 1000; at < damaged.size(); at += 9973) {
                damaged[at] = '\n';
            }
            folder.write("damaged." + name, damaged);
        }
    }

    const TemporaryFolder folder;
};

TEST_F(DecodeJobs, DoNotShowInWhatIsWritten) {
    const std::string kona = "--dbc data/kona-ev-can/pcan.dbc ";
    const std::string comp = "--dbc data/kona-ev-can/comp_can.dbc data/kona-ev-can/";
    const std::string remora = "--dbc data/remora_ctrl_proto/remora.dbc data/";
    const std::string leaf = "--dbc data/SavvyCAN/LeafPowertrainBus.dbc data/SavvyCAN/";
    const std::string parameterGroups =
        "--dbc data/CSS-api-examples/CSS-Electronics-SAE-J1939-DEMO.dbc data/";
    // Each recording meets one of them, and none.
    constexpr std::array<const char*, 3> options{
        "--last", "--changed", "--format jsonl --only '*S*' --from +1 --to +20 --time relative"};
    std::size_t next = 0;
    for (const std::string& traces : std::initializer_list<std::string>{
             kona + "kona.log",
             kona + "kona.log.gz",
             kona + "kona.rktrace",
             kona + "kona.rktrace.gz",
             kona + "kona.pcapng",
             kona + "damaged.log",
             kona + "damaged.rktrace",
             kona + "damaged.pcapng",
             kona + "data/kona-ev-can/230112-7-2019-pcan-ccan-power-off-on-ready-off.gvret.csv",
             kona + "data/pcap_converted/kona-pcan-first12000.socketcan.pcap",
             kona + "data/kona-ev-can/bms-idle-30sec.asc",
             kona + "--dbc 1=data/SavvyCAN/LeafPowertrainBus.dbc leaf.log kona.log kona.pcapng",
             comp + "250105-1-2020-comp-can-heating.converted.candump.log",
             comp + "250105-1-2020-comp-can-heating.gvret.csv",
             remora + "remora_ctrl_proto/candump-2021-07-22_220952-short-temp-sensor-black-box.log",
             remora + "remora_ctrl_proto/candump-2021-07-21_220402-15-seconds-engine-on-big-truck.log",
             remora + "pcap_converted/remora-truck-15s.socketcan.pcapng",
             leaf + "candump.log",
             leaf + "BusMasterLog.log",
             leaf + "GVRET_Log.csv",
             parameterGroups + "CSS-api-examples/2F6913DB-00000001.MF4",
             "--dbc data/CSS-api-examples/tp_nmea.dbc data/gpsd/nmea2000_20140914_can.log",
             parameterGroups +
                 "remora_ctrl_proto/candump-2021-07-21_220402-15-seconds-engine-on-big-truck.log"}) {
        expectSameOfAnyJobs(folder, "rksignal decode " + traces + " $JOBS");
        expectSameOfAnyJobs(folder,
                            "rksignal decode " + traces + " " + options[next++ % options.size()] + " $JOBS");
    }
    for (const std::string& command : std::initializer_list<std::string>{
             "cat damaged.log | rksignal decode - $JOBS " + kona,
             "zcat kona.rktrace.gz | rksignal decode - $JOBS " + kona,
             "rksignal info kona.log leaf.log $JOBS", "rksignal audit kona.pcapng $JOBS " + kona,
             "rksignal trigger --timeout 0.5 --when 'VCU_109.Counter == 3' damaged.log $JOBS " + kona,
             "rksignal export --step 0.1 --only '*S*' kona.pcapng $JOBS " + kona}) {
        expectSameOfAnyJobs(folder, command);
    }
}

TEST_F(DecodeJobs, EndWithTheReaderAndWithTheDisk) {
    for (const std::string end :
         {"--dbc data/kona-ev-can/pcan.dbc ", "--changed --dbc data/kona-ev-can/pcan.dbc "}) {
        const std::string head = "rksignal decode -q --jobs 3 " + end;
        EXPECT_EQ(folder.run(head + "damaged.log | head -n 2").output.substr(0, valueHeader.size()),
                  valueHeader);
        EXPECT_EQ(folder.run(head + "damaged.log > /dev/full").status, 2);
    }
}

/// What a pipe has given is written while it gives no more.
TEST_F(DecodeJobs, LetNoRowsWaitForAPipe) {
    for (const char* const option : {"", "--changed"}) {
        const std::string command =
            std::string("mkfifo rows log; rksignal decode -q --jobs 3 ") + option +
            " --dbc data/kona-ev-can/pcan.dbc log > rows &\n"
            "exec 4< rows 3> log; head -n 1000 kona.log >&3\n"
            "timeout 60 head -n 500 <&4 | tail -n 1 > row; exec 3>&- 4<&-; wait; rm rows log; cat row";
        EXPECT_EQ(std::ranges::count(folder.run(command).output, ','), 7) << option;
    }
}

} // namespace
} // namespace rksignal
