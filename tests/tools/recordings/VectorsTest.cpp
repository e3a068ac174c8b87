/// \file
/// Single frames over many definition files, against what other decoders make of them.
#include "output/RowFormat.h"
#include "replay/Replay.h"
#include "tools/Recordings.h"

#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <memory>

namespace rksignal {
namespace {

using nlohmann::json;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// One definition file on its own.
struct Definitions {
    explicit Definitions(const std::filesystem::path& path) { catalog.add(readDbc(path), std::nullopt); }

    SignalStorage storage;
    Catalog catalog{storage};
};

CANExtTraceMessage frameOf(const json& vector) {
    const std::string id = vector["extended"] ? "%08X" : "%03X";
    char text[16];
    std::snprintf(text, sizeof text, id.c_str(), vector["frame_id"].get<unsigned>());
    const std::string data = vector["data"];
    const std::string line = std::string("(1.0) can0 ") + text + (data.size() > 16 ? "##0" : "#") + data;
    CandumpLine result;
    EXPECT_EQ(parseCandumpLine(line, result), nullptr) << line;
    return result.frame;
}

double number(const json& value) {
    return value == "NaN" ? std::nan("") : value.get<double>();
}

/// The expected raw value as the word in the slot.
std::uint64_t rawWord(const json& raw, signalValue_t type) {
    switch (type) {
    case signalValue_t::Float:
        return std::bit_cast<std::uint32_t>(static_cast<float>(number(raw)));
    case signalValue_t::Double:
        return std::bit_cast<std::uint64_t>(number(raw));
    default:
        return raw.is_number_unsigned() ? raw.get<std::uint64_t>()
                                        : static_cast<std::uint64_t>(raw.get<std::int64_t>());
    }
}

bool same(double left, double right) {
    return left == right || (std::isnan(left) && std::isnan(right)) ||
           std::abs(left - right) <= 1e-12 * std::max(std::abs(left), std::abs(right));
}

/// A not-a-number may carry any payload: the expectation does not say which.
bool sameRaw(std::uint64_t raw, const json& expected, signalValue_t type) {
    return expected == "NaN" || raw == rawWord(expected, type);
}

void expectSignal(CANSignal& signal, const json& expected) {
    const ValueSample sample = ValueSample::of(signal);
    EXPECT_PRED3(sameRaw, sample.raw, expected["raw"], signal.def.type) << signal.def.instance;
    EXPECT_PRED2(same, sample.value, number(expected["physical"])) << signal.def.instance;
    if (expected.contains("unit")) {
        EXPECT_EQ(signal.getUnit(), expected["unit"]) << signal.def.instance;
    }
    if (expected.contains("name")) {
        EXPECT_EQ(signal.getValueDescription(sample.raw), expected["name"]) << signal.def.instance;
    }
}

void expectVector(Definitions& definitions, const json& vector) {
    const CANExtTraceMessage frame = frameOf(vector);
    const auto decoders = definitions.catalog.decodersOf(frame)[1];
    ASSERT_EQ(decoders.size(), 1U);
    EXPECT_EQ(decoders.front()->message().name, vector["message"]);
    std::vector<unsigned long> ids;
    decoders.front()->decode(frame, ids);
    EXPECT_EQ(ids.size(), vector["signals"].size());
    for (const unsigned long id : ids) {
        CANSignal& signal = *definitions.catalog.signals()[definitions.catalog.indexOf(id)];
        ASSERT_TRUE(vector["signals"].contains(signal.def.signal))
            << signal.def.instance << " is not expected";
        expectSignal(signal, vector["signals"][signal.def.signal]);
    }
}

struct Source {
    const char* vectors;
    const char* folder;
};

class Vectors : public testing::TestWithParam<Source> {};

TEST_P(Vectors, ExactlyTheExpectedSignalsAreWritten) {
    REQUIRE_RECORDING(GetParam().vectors);
    const json vectors = readJson(recording(GetParam().vectors));
    std::string loaded;
    std::unique_ptr<Definitions> file;
    std::vector<std::string> unloadable;
    for (const json& vector : vectors["vectors"]) {
        const std::string name = vector["dbc"];
        const std::filesystem::path path = recording(GetParam().folder + name);
        SCOPED_TRACE(name + " " + vector["message"].get<std::string>() + " " +
                     vector["data"].get<std::string>());
        ASSERT_FALSE(path.empty());
        if (loaded != name) {
            loaded = name;
            file.reset(); // there can be one catalog at a time
            file = std::make_unique<Definitions>(path);
            if (file->catalog.signals().empty()) {
                unloadable.push_back(name);
            }
        }
        expectVector(*file, vector);
    }
    EXPECT_EQ(vectors["vectors"].size(), vectors["frames"]);
    EXPECT_THAT(unloadable, IsEmpty());
}

/// Files without a single signal, or with signals that the library cannot decode; the others are complete.
TEST(RecordedDefinitions, EveryFileCanBeUsed) {
    REQUIRE_RECORDING(".");
    std::vector<std::string> incomplete;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(recording("."))) {
        if (entry.path().extension() != ".dbc") {
            continue;
        }
        const std::string name = entry.path().filename();
        const DbcFile file = readDbc(entry.path());
        const Definitions definitions(entry.path());
        std::size_t expected = 0;
        for (const DbcMessage& message : file.messages) {
            expected += message.signals.size();
        }
        const std::size_t built = definitions.catalog.signals().size();
        if (built != expected) {
            incomplete.push_back(name + ": " + std::to_string(expected - built) + " signal(s) left out");
        } else if (built == 0) {
            incomplete.push_back(name + ": no signals");
        }
    }
    // None of these has a signal; those of issue_62.dbc belong to no message.
    EXPECT_THAT(incomplete, UnorderedElementsAre(
                                "CamelCaseEmpty.dbc: no signals", "TestFD.dbc: no signals",
                                "add_two_dbc_files_1.dbc: no signals", "add_two_dbc_files_2.dbc: no signals",
                                "bus_comment_bare.dbc: no signals", "bus_comment_bare_out.dbc: no signals",
                                "empty_ns.dbc: no signals", "issue_163_newline.dbc: no signals",
                                "issue_62.dbc: no signals", "message-dlc-zero.dbc: no signals"));
}

INSTANTIATE_TEST_SUITE_P(Recordings, Vectors,
                         testing::Values(Source{"vectors/cantools_open.json", "cantools/dbc/"},
                                         Source{"vectors/other_dbcs_open.json", ""}),
                         [](const auto& info) { return "set" + std::to_string(info.index); });

} // namespace
} // namespace rksignal
