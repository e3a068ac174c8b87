/// \file
/// Captures of public projects against another dissector, and against the logs that they were made from. They
/// lie in the folder that the environment variable RKSIGNAL_RECORDINGS names.
#include "tools/ProgramRun.h"

#include <gmock/gmock.h>

namespace rksignal {
namespace {

struct RecordedCaptures : testing::Test {
    void SetUp() override {
        if (folder == nullptr) {
            GTEST_SKIP() << "RKSIGNAL_RECORDINGS is not set";
        }
    }
    std::string pathOf(const std::string& name) const { return folder + ("/" + name); }

    const char* const folder = std::getenv("RKSIGNAL_RECORDINGS");
    TemporaryFolder working;
};

/// But for the interfaces, which a capture of SocketCAN does not name.
TEST_F(RecordedCaptures, GiveWhatTheirLogsGive) {
    const struct {
        std::string dbc, log, capture;
        unsigned lines;
    } rows[] = {
        {"kona-ev-can/pcan.with_BS_BU.derived.dbc",
         "kona-ev-can/230112-7-2019-pcan-ccan-power-off-on-ready-off.converted.candump.log",
         "pcap_converted/kona-pcan-first12000.socketcan.pcap", 12000},
        {"remora_ctrl_proto/remora_exact_ids.derived.dbc",
         "remora_ctrl_proto/candump-2021-07-21_220402-15-seconds-engine-on-big-truck.log",
         "pcap_converted/remora-truck-15s.socketcan.pcapng", 1000000},
    };
    for (const auto& [dbc, log, capture, lines] : rows) {
        working.run("head -n " + std::to_string(lines) + " '" + pathOf(log) +
                    "' | sed 's/ can[0-9] / can0 /' > t.log");
        for (const std::string form : {"", " --last"}) {
            const std::string command = "rksignal decode -q --dbc '" + pathOf(dbc) + "'" + form;
            const ProgramResult fromLog = working.run(command + " t.log");
            const ProgramResult fromCapture = working.run(command + " '" + pathOf(capture) + "'");
            EXPECT_GT(fromLog.output.size(), 1000U) << log;
            EXPECT_TRUE(fromCapture.output == fromLog.output) << capture << form;
        }
    }
}

using Row = std::map<std::string, std::string>;

std::vector<Row> readTable(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::vector<std::string>> lines;
    for (std::string line; std::getline(file, line);) {
        std::istringstream in(line);
        lines.emplace_back();
        for (std::string cell; std::getline(in, cell, '\t');) {
            lines.back().push_back(cell);
        }
    }
    std::vector<Row> rows;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        rows.emplace_back();
        for (std::size_t column = 0; column < lines[i].size(); ++column) {
            rows.back()[lines[0][column]] = lines[i][column];
        }
    }
    return rows;
}

/// The table is a dissection: of each SOME/IP message its service, method, length, segment and payload. They
/// stand where the analysis of the headers says that the payload begins. As messages these are not decoded:
/// their lengths count from the length field and so, to the library, reach beyond the frame.
TEST_F(RecordedCaptures, PayloadsBeginWhereADissectorSaysSo) {
    std::vector<std::string> excluded;
    std::vector<std::string> compared;
    for (Row& row : readTable(pathOf("expected/someip_tshark.tsv"))) {
        if (row["ip_src"].empty()) { // IPv6
            excluded.push_back(row["file"] + " " + row["frame"]);
            continue;
        }
        const auto hex = [&row](const char* cell) { return std::stoul(row[cell], nullptr, 16); };
        const std::pair<const char*, std::size_t> fields[] = {
            {R"("bits": 16, "start": 7)", hex("service")},
            {R"("bits": 16, "start": 23)", hex("method")},
            {R"("bits": 32, "start": 39)", std::stoul(row["length"])},
            {R"("bits": 32, "start": 135)", std::stoul(row["tp_offset"]) + std::stoul(row["tp_more"])},
            {R"("bits": 64, "start": 167)", std::stoul(row["payload_hex"].substr(0, 16), nullptr, 16)},
        };
        for (const auto& [field, expected] : fields) {
            const std::string text(field);
            const std::size_t comma = text.find(',');
            working.write("t.json", R"({"ethernet": [{"instance": "Field", "endian": "big", )" +
                                        text.substr(0, comma) + R"(, "positions": [{"sourceIp": ")" +
                                        row["ip_src"] + R"(", "destinationIp": ")" + row["ip_dst"] +
                                        R"(", "destinationPort": )" + row["udp_dst"] +
                                        R"(, "ipProtocol": 17, "startBit")" + text.substr(text.rfind(':')) +
                                        "}]}]}");
            const ProgramResult result =
                working.run("rksignal decode -q --signals t.json '" + pathOf("PcapPlusPlus/" + row["file"]) +
                            "' | sed -n " + std::to_string(1 + std::stoul(row["frame"])) + "p");
            EXPECT_THAT(
                result.output,
                testing::AllOf(testing::StartsWith("1663137178.00000" + row["frame"] + ",0,ethernet,Field,"),
                               testing::EndsWith(",," + std::to_string(expected) + ",\n")))
                << row["frame"] << field;
        }
        compared.push_back(row["file"] + " " + row["frame"]);
    }
    EXPECT_THAT(compared, testing::ElementsAre("SomeIpTp.pcapng 1", "SomeIpTp.pcapng 2"));
    EXPECT_THAT(excluded, testing::ElementsAre("someip.pcapng 1", "someip.pcapng 2"));
    EXPECT_THAT(working.run("rksignal decode --signals t.json '" + pathOf("PcapPlusPlus/someip.pcapng") + "'")
                    .messages,
                testing::StartsWith("2 messages read: 0 decoded, 2 unknown"));
}

} // namespace
} // namespace rksignal
