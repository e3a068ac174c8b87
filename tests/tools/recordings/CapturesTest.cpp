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

std::vector<std::string> split(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> parts;
    for (std::string each; std::getline(in, each, ',');) {
        parts.push_back(each);
    }
    return parts;
}

/// Definitions of the first and the last 8 bytes of each message of a row, and the rows that they give.
std::pair<std::string, std::string> expectedOf(Row& row) {
    const auto services = split(row["service"]);
    const auto methods = split(row["method"]);
    const auto payloads = split(row["payload_hex"]);
    std::string definitions;
    std::string values;
    for (std::size_t i = 0; i < services.size(); ++i) {
        for (const std::size_t byte : {std::size_t{0}, payloads[i].size() / 2 - 8}) {
            const std::string name = services[i] + "." + std::to_string(byte);
            definitions += std::string(definitions.empty() ? "" : ", ") + R"({"instance": ")" + name +
                           R"(", "bits": 64, "endian": "big", "positions": [{"ethSignalType": "SOME/IP", )" +
                           R"("vlanId": )" + (row["vlan"].empty() ? "0" : row["vlan"]) +
                           R"(, "destinationPort": )" +
                           (row["udp_dst"].empty() ? row["tcp_dst"] : row["udp_dst"]) +
                           R"(, "serviceId": ")" + services[i] + R"(", "methodEventId": ")" + methods[i] +
                           R"(", "startBit": )" + std::to_string(8 * byte + 7) + "}]}";
            values +=
                name + " " + std::to_string(std::stoul(payloads[i].substr(2 * byte, 16), nullptr, 16)) + "\n";
        }
    }
    return {R"({"ethernet": [)" + definitions + "]}", values};
}

/// The table is a dissection: of each SOME/IP message its service, method and payload. The messages of the
/// one capture are whole, over UDP and TCP on IPv6, and none of them is one by the library's rule; those of
/// the other one are two segments, between which 90,480 bytes are missing.
TEST_F(RecordedCaptures, SomeIpMessagesAreThoseOfADissector) {
    std::size_t compared = 0;
    for (Row& row : readTable(pathOf("expected/someip_tshark.tsv"))) {
        if (!row["tp_offset"].empty()) {
            continue;
        }
        const auto [definitions, values] = expectedOf(row);
        working.write("t.json", definitions);
        const std::string decode =
            "decode -q --signals t.json '" + pathOf("PcapPlusPlus/" + row["file"]) + "'";
        const std::string rowsOf = " | awk -F, '$1 ~ /00000" + row["frame"] + "$/ {print $4, $7}'";
        EXPECT_EQ(working.run("rksignal " + decode + rowsOf).output, values) << row["frame"];
        EXPECT_EQ(working.run("rksignal " + decode + " --strict" + rowsOf).output, "") << row["frame"];
        ++compared;
    }
    EXPECT_EQ(compared, 2U);
    working.write("t.json", R"({"ethernet": [{"instance": "T", "bits": 8, "positions": [
        {"ethSignalType": "SOME/IP", "serviceId": "0xd05f", "methodEventId": "0x8001"}]}]})");
    EXPECT_THAT(
        working.run("rksignal decode --signals t.json '" + pathOf("PcapPlusPlus/SomeIpTp.pcapng") + "'")
            .messages,
        testing::HasSubstr("SOME/IP: 0 messages put together from segments, 65 segments lost\n"));
}

} // namespace
} // namespace rksignal
