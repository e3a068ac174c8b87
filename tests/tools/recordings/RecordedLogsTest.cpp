/// \file
/// Whole recorded drives, against what another decoder made of them.
#include "output/RowFormat.h"
#include "replay/Replay.h"
#include "tools/Recordings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <set>

namespace rksignal {
namespace {

struct Series {
    std::uint64_t count = 0;
    double first = 0;
    double last = 0;
    double minimum = std::numeric_limits<double>::infinity();
    double maximum = -std::numeric_limits<double>::infinity();
    std::set<double> distinct;
};

using Frame = std::map<std::string, ValueSample>; ///< by instance

/// Follows each signal, and keeps the values of the frames that are asked for.
class Follower : public ValueSink {
  public:
    explicit Follower(const Catalog& catalog) : catalog(catalog) {}

    void written(const CANExtTraceMessage& frame, std::span<const unsigned long> ids) override {
        const auto key = std::pair(frame.timestamp, frame.canId);
        const auto wanted = frames.find(key);
        for (const unsigned long id : ids) {
            CANSignal& signal = *catalog.signals()[catalog.indexOf(id)];
            const ValueSample sample = ValueSample::of(signal);
            follow(series[signal.def.instance], sample.value);
            if (wanted != frames.end()) {
                wanted->second[signal.def.instance] = sample;
            }
        }
    }

    std::map<std::string, Series> series;
    std::map<std::pair<std::uint64_t, std::uint32_t>, Frame> frames; ///< by time and identifier

  private:
    static void follow(Series& series, double value) {
        series.first = series.count++ == 0 ? value : series.first;
        series.last = value;
        series.minimum = std::min(series.minimum, value);
        series.maximum = std::max(series.maximum, value);
        if (series.distinct.size() < 50) {
            series.distinct.insert(value);
        }
    }

    const Catalog& catalog;
};

/// Equal but for the order of the operations that made them.
bool same(double left, double right) {
    return left == right || std::abs(left - right) <= 1e-12 * std::max(std::abs(left), std::abs(right));
}

std::uint64_t nanoseconds(const std::string& seconds) {
    CandumpLine line;
    const std::string text = "(" + seconds + ") can0 000#";
    EXPECT_EQ(parseCandumpLine(text, line), nullptr);
    return line.frame.timestamp;
}

struct Log {
    const char* name;
    const char* expected;    ///< the file beside the recordings
    std::uint64_t malformed; ///< lines with a time before 1970
};

void PrintTo(const Log& log, std::ostream* out) {
    *out << log.expected;
}

class RecordedLogs : public testing::TestWithParam<Log> {};

TEST_P(RecordedLogs, EverySignalIsAsExpected) {
    const std::string name = std::string("expected/") + GetParam().expected + ".json";
    REQUIRE_RECORDING(name);
    const nlohmann::json expected = readJson(recording(name));
    const std::string log = expected["log"];
    const std::string dbc = expected["dbc"];
    REQUIRE_RECORDING(log);
    REQUIRE_RECORDING(dbc);

    SignalStorage storage;
    Catalog catalog(storage);
    ChannelMap channels;
    const std::optional<std::uint8_t> channel =
        expected["channel"].is_null() ? std::nullopt
                                      : channels.channelOf(expected["channel"].get<std::string>());
    catalog.add(readDbc(recording(dbc)), channel);
    Follower follower(catalog);
    for (const auto& sample : expected["samples"]) {
        follower.frames[{nanoseconds(sample["t"]), sample["id"].get<std::uint32_t>()}];
    }
    Replay replay(catalog, channels, follower);
    const InputFile file(recording(log).string());
    LineReader reader(file);
    replay.run(reader);

    // The expectation counts the frames of one channel only if it was made for one.
    std::uint64_t decodedFrames = 0;
    std::uint64_t shortFrames = 0;
    std::uint64_t seen = 0;
    for (const auto& decoder : catalog.decoders()) {
        decodedFrames += decoder->statistics().frames;
        shortFrames += decoder->statistics().shortFrames;
        seen += decoder->statistics().frames > 0 ? 1 : 0;
    }
    if (!channel) {
        EXPECT_EQ(replay.statistics().frames, expected["frames"]);
    }
    EXPECT_EQ(replay.statistics().malformed, GetParam().malformed);
    EXPECT_EQ(replay.statistics().decoded, expected["matched"]);
    EXPECT_EQ(decodedFrames, expected["matched"]);
    EXPECT_EQ(shortFrames, expected["short_frames"]);
    EXPECT_EQ(seen, expected["matched_ids"]);
    EXPECT_EQ(catalog.decoders().size(), expected["dbc_messages"]);

    std::size_t known = 0;
    for (const auto& [instance, values] : expected["signals"].items()) {
        SCOPED_TRACE(instance);
        if (values["count"] == 0) {
            EXPECT_FALSE(follower.series.contains(instance));
            continue;
        }
        ++known;
        const Series& series = follower.series[instance];
        EXPECT_EQ(series.count, values["count"]);
        EXPECT_PRED2(same, series.minimum, values["min"].get<double>());
        EXPECT_PRED2(same, series.maximum, values["max"].get<double>());
        EXPECT_PRED2(same, series.first, values["first"].get<double>());
        EXPECT_PRED2(same, series.last, values["last"].get<double>());
        if (values["distinct"].is_number()) {
            EXPECT_EQ(series.distinct.size(), values["distinct"]);
        }
    }
    EXPECT_EQ(follower.series.size(), known) << "signals that were not expected";

    for (const auto& sample : expected["samples"]) {
        const std::string message = sample["message"];
        SCOPED_TRACE(message + " at " + sample["t"].get<std::string>());
        const Frame& frame = follower.frames[{nanoseconds(sample["t"]), sample["id"].get<std::uint32_t>()}];
        EXPECT_EQ(frame.size(), sample["signals"].size());
        for (const auto& [signal, values] : sample["signals"].items()) {
            const auto found = frame.find(message + "." + signal);
            ASSERT_NE(found, frame.end()) << signal;
            EXPECT_EQ(found->second.raw, static_cast<unsigned long>(values["raw"].get<std::int64_t>()))
                << signal;
            EXPECT_PRED2(same, found->second.value, values["physical"].get<double>()) << signal;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Recordings, RecordedLogs,
    testing::Values(
        Log{"KonaPowerOn",
            "230112-7-2019-pcan-ccan-power-off-on-ready-off.converted.candump__pcan.with_BS_BU.derived.dbc",
            0},
        Log{"KonaHeating", "250105-1-2020-comp-can-heating.converted.candump__comp_can.dbc", 217},
        Log{"TruckEngine",
            "candump-2021-07-21_220402-15-seconds-engine-on-big-truck__remora_exact_ids.derived.dbc", 0},
        Log{"TruckSensor", "candump-2021-07-22_220952-short-temp-sensor-black-box__remora.dbc", 0}),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace rksignal
