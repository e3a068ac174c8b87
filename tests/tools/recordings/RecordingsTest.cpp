/// \file
/// Recorded drives, single frames and definition files of public projects, against what other decoders make
/// of them. They lie in the folder that the environment variable RKSIGNAL_RECORDINGS names.
#include "catalog/Catalog.h"
#include "definition/DefinitionReader.h"
#include "definition/dbc/DbcFile.h"
#include "definition/dbc/DbcText.h"
#include "definition/json/DefinitionText.h"
#include "definition/json/JsonDefinitions.h"
#include "support/ModelText.h"
#include "tools/ProgramRun.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <regex>
#include <set>

namespace rksignal {
namespace {

using nlohmann::json;
using Frame = std::map<std::string, json>;                      ///< rows by signal
using Frames = std::map<std::pair<double, std::string>, Frame>; ///< by time and message

std::string testName(const testing::TestParamInfo<const char*>& info) {
    return std::regex_replace(info.param, std::regex("[^A-Za-z0-9]+"), "_");
}

class Recordings : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        if (folder == nullptr) {
            GTEST_SKIP() << "RKSIGNAL_RECORDINGS is not set";
        }
    }

    std::string pathOf(const std::string& name) const { return folder + ("/" + name); }
    json read(const std::string& name) const { return json::parse(contentOf(pathOf(name))); }

    const char* const folder = std::getenv("RKSIGNAL_RECORDINGS");
    TemporaryFolder working;
};

/// Equal but for the order of the operations that made them. JSON has no number for not-a-number.
bool same(const json& left, const json& right) {
    const double a = left.is_number() ? left.get<double>() : std::nan("");
    const double b = right.is_number() ? right.get<double>() : std::nan("");
    return a == b || (std::isnan(a) && std::isnan(b)) ||
           std::abs(a - b) <= 1e-12 * std::max(std::abs(a), std::abs(b));
}

void expectFrame(const Frame& frame, const json& expected) {
    EXPECT_EQ(frame.size(), expected.size());
    for (const auto& [name, values] : expected.items()) {
        ASSERT_TRUE(frame.contains(name)) << name;
        const json& row = frame.at(name);
        EXPECT_TRUE(row["raw"].is_string() || row["raw"].dump() == values["raw"].dump()) << row;
        EXPECT_PRED2(same, row["value"], values["physical"]) << row;
        EXPECT_EQ(row["unit"], values.value("unit", row["unit"])) << row;
        EXPECT_EQ(row["text"], values.value("name", row["text"])) << row;
    }
}

/// The sum of the numbers in the group of `pattern`, wherever it matches.
std::uint64_t sumOf(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    std::uint64_t sum = 0;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        sum += std::stoull(match->str(1));
    }
    return sum;
}

class RecordedLogs : public Recordings {};

TEST_P(RecordedLogs, EverySignalIsAsExpected) {
    const json expected = read(std::string("expected/") + GetParam() + ".json");
    const std::string log = " '" + pathOf(expected["log"]) + "'";
    const std::string channel =
        expected["channel"].is_string() ? expected["channel"].get<std::string>() + "=" : "";
    const ProgramResult result =
        working.run("rksignal decode --format jsonl --dbc '" + channel + pathOf(expected["dbc"]) + "'" + log);
    const auto keyOf = [](const json& sample) {
        return std::pair(std::stod(sample["t"].get<std::string>()), sample["message"].get<std::string>());
    };
    Frames samples;
    for (const json& sample : expected["samples"]) {
        samples[keyOf(sample)];
    }
    std::map<std::string, std::vector<double>> series;
    forEachRow(result.output, [&](const json& row, const std::string& message, const std::string& signal) {
        series[row["instance"]].push_back(row["value"]);
        if (const auto sample = samples.find({row["time"], message}); sample != samples.end()) {
            sample->second[signal] = row;
        }
    });
    for (const json& sample : expected["samples"]) {
        SCOPED_TRACE(sample);
        expectFrame(samples[keyOf(sample)], sample["signals"]);
    }
    for (const auto& [instance, values] : expected["signals"].items()) {
        SCOPED_TRACE(instance);
        const std::vector<double>& found = series[instance];
        ASSERT_EQ(found.size(), values["count"]);
        if (!found.empty()) {
            const auto [least, greatest] = std::minmax_element(found.begin(), found.end());
            EXPECT_PRED2(same, *least, values["min"]);
            EXPECT_PRED2(same, *greatest, values["max"]);
            EXPECT_PRED2(same, found.front(), values["first"]);
            EXPECT_PRED2(same, found.back(), values["last"]);
        }
    }
    EXPECT_EQ(series.size(), expected["signals"].size()) << "signals that were not expected";
    const std::string& summary = result.messages;
    EXPECT_EQ(sumOf(summary, R"((\d+) decoded)"), expected["matched"]);
    EXPECT_EQ(sumOf(summary, R"(: (\d+) of \d+ frames?, )"), expected["short_frames"]);
    EXPECT_EQ(sumOf(summary, R"(never seen: (\d+) of )") + expected["matched_ids"].get<std::size_t>(),
              expected["dbc_messages"]);
    EXPECT_EQ(sumOf(summary, R"((\d+) frames read)"),
              std::stoul(working.run("grep -c '^([0-9]'" + log).output));
    EXPECT_EQ(sumOf(summary, R"((\d+) malformed)"), std::stoul(working.run("grep -c '^(-'" + log).output));
}

INSTANTIATE_TEST_SUITE_P(
    Files, RecordedLogs,
    testing::Values(
        "230112-7-2019-pcan-ccan-power-off-on-ready-off.converted.candump__pcan.with_BS_BU.derived.dbc",
        "250105-1-2020-comp-can-heating.converted.candump__comp_can.dbc",
        "candump-2021-07-21_220402-15-seconds-engine-on-big-truck__remora_exact_ids.derived.dbc",
        "candump-2021-07-22_220952-short-temp-sensor-black-box__remora.dbc"),
    testName);

class RecordedCaptures : public Recordings {};

/// What the logs give that they were made from, but for the interfaces, which a capture of SocketCAN does not
/// name.
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
        const std::string command = "rksignal decode -q --dbc '" + pathOf(dbc) + "' ";
        const std::string fromLog = working.run(command + "t.log").output;
        EXPECT_GT(fromLog.size(), 1000U) << log;
        EXPECT_TRUE(working.run(command + "'" + pathOf(capture) + "'").output == fromLog) << capture;
    }
}

class Vectors : public Recordings {};

TEST_P(Vectors, ExactlyTheExpectedSignalsAreWritten) {
    const json vectors = read(std::string("vectors/") + GetParam() + "_open.json")["vectors"];
    std::map<std::string, std::ostringstream> traces; // by definition file, one frame a second
    for (std::size_t second = 0; second < vectors.size(); ++second) {
        const json& vector = vectors[second];
        const std::string data = vector["data"];
        traces[vector["dbc"]] << '(' << second << ".0) can0 " << std::hex << std::setfill('0')
                              << std::setw(vector["extended"] ? 8 : 3) << vector["frame_id"].get<unsigned>()
                              << std::dec << (data.size() > 16 ? "##0" : "#") << data << '\n';
    }
    Frames frames;
    for (const auto& [dbc, trace] : traces) {
        working.write("t.log", trace.str());
        const std::string path = pathOf((GetParam() == std::string("cantools") ? "cantools/dbc/" : "") + dbc);
        forEachRow(working.run("rksignal decode --format jsonl t.log --dbc '" + path + "'").output,
                   [&frames](const json& row, const std::string& message, const std::string& signal) {
                       frames[{row["time"], message}][signal] = row;
                   });
    }
    for (std::size_t second = 0; second < vectors.size(); ++second) {
        SCOPED_TRACE(vectors[second]);
        const std::pair<double, std::string> key(second, vectors[second]["message"]);
        expectFrame(frames[key], vectors[second]["signals"]);
        frames.erase(key);
    }
    EXPECT_EQ(frames.size(), 0U) << "of other messages than expected";
}

INSTANTIATE_TEST_SUITE_P(Files, Vectors, testing::Values("cantools", "other_dbcs"), testName);

class RecordedDefinitions : public Recordings {};

TEST_F(RecordedDefinitions, EveryLineIsUsedButForKnownFaults) {
    std::map<std::string, std::size_t> unused; // lines
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".dbc") {
            Catalog catalog;
            catalog.addDbc(entry.path());
            const std::string count = "grep -acE '^ *(BO_ .*:|SG_ .*@)' '" + entry.path().string() + "'";
            unused[entry.path().filename()] =
                std::stoul(working.run(count).output) - catalog.decoders().size() - catalog.signals().size();
        }
    }
    std::erase_if(unused, [](const auto& file) { return file.second == 0; });
    EXPECT_THAT(unused, testing::ElementsAre(testing::Pair("gbk.dbc", 91), testing::Pair("issue_62.dbc", 19),
                                             testing::Pair("toyota_2017_ref_pt.dbc", 307)));
}

/// As DBC text holds them.
std::vector<MessageDefinition> framesOf(const std::vector<MessageDefinition>& messages) {
    std::vector<MessageDefinition> frames;
    for (const MessageDefinition& message : messages) {
        if (message.kind == SignalKind::Can && !message.pduId) {
            for (SignalDefinition& signal : frames.emplace_back(message).signals) {
                signal.initial.reset();
                signal.invalid.reset();
                signal.common().udn.clear();
            }
        }
    }
    return frames;
}

/// All files of definitions, of whatever format.
TEST_F(RecordedDefinitions, AreTheSameAsJsonAndAsDbc) {
    std::size_t files = 0;
    std::set<std::string> takenNames;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::string path = entry.path();
        if (!entry.is_regular_file() || entry.path().extension() == ".json" || !detectDefinitions(path)) {
            continue;
        }
        ++files;
        const DefinitionSource source{path, {}};
        std::vector<DefinitionFile> read = readDefinitions({&source, 1});
        const DbcText dbc = dbcText(read[0].messages);
        const bool isTaken = std::any_of(dbc.lost.begin(), dbc.lost.end(), [](const auto& each) {
            return each.first == "names that are taken" && each.second > 0;
        });
        if (isTaken) {
            takenNames.insert(entry.path().filename());
        } else {
            EXPECT_TRUE(modelText(parseDbc(dbc.text, path).messages) == modelText(framesOf(read[0].messages)))
                << path;
        }
        Catalog catalog;
        catalog.add(std::move(read[0]));
        const std::vector<MessageDefinition> decoded = catalog.decodedMessages();
        EXPECT_EQ(messagesPutTogether(decoded), 0U) << path;
        EXPECT_TRUE(modelText(parseJsonDefinitions(definitionText(decoded), path).messages) ==
                    modelText(decoded))
            << path;
    }
    EXPECT_GT(files, 90U);
    EXPECT_THAT(takenNames, testing::ElementsAre());
}

} // namespace
} // namespace rksignal
