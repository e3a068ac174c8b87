// Recorded output of GPS receivers, sentence by sentence, beside what another parser made of it.

#include "input/GPSSignal.h"
#include "support/SignalTest.h"
#include "tools/ProgramRun.h"

#include <memory>
#include <regex>
#include <vector>

namespace rksignal {
namespace {

using nlohmann::json;

/// Lines end in a line feed, a carriage return or both.
std::vector<std::string> linesOf(const std::string& path) {
    const std::string text = contentOf(path);
    const std::regex end("\r\n?|\n");
    return {std::sregex_token_iterator(text.begin(), text.end(), end, -1), {}};
}

class NmeaLogs : public SignalTest {
  protected:
    void SetUp() override {
        SignalTest::SetUp();
        for (const auto& [name, kind] : GPSSignal::gps_ids) {
            inputSignalDef_t definition;
            definition.instance = name;
            definition.bits = 64;
            signals[name] = std::make_unique<GPSSignal>(definition);
        }
    }
    void TearDown() override {
        signals.clear();
        SignalTest::TearDown();
    }

    /// Whether the signal holds the expected number times `scale`; nothing is expected of an empty field.
    void expectValue(const char* name, const json& expected, double scale = 1) {
        if (expected.is_null() || (expected.is_string() && expected.get_ref<const std::string&>().empty())) {
            return;
        }
        const double number =
            expected.is_string() ? std::stod(expected.get<std::string>()) : expected.get<double>();
        double value = 0;
        unsigned long timestamp = 0;
        EXPECT_TRUE(signals.at(name)->read(value, timestamp)) << name;
        EXPECT_NEAR(value, number * scale, 1e-6) << name;
    }

    void expectSentence(const json& expected, const std::string& sentence) {
        SCOPED_TRACE(sentence);
        GPSSignal::gpsStatus = 1;
        std::vector<unsigned long> ids;
        const bool reported = GPSSignal::decodeMessage(GPSTraceMessage{1, sentence}, ids);
        EXPECT_EQ(reported, expected["checksum_ok"] == true) << "else wrong, or cut before it";
        if (!reported) {
            return;
        }
        if (!expected["sentence"].get<std::string>().ends_with("RMC")) {
            expectValue("GPS.Satellites", expected["sats"]);
            expectValue("GPS.Altitude", expected["alt_m"]);
        } else if (expected["status"] != "A") {
            EXPECT_EQ(signals.at("GPS.Status")->slot->raw + signals.at("GPS.Latitude")->slot->valid, 0U);
        } else {
            EXPECT_EQ(signals.at("GPS.Status")->slot->raw, 1U);
            expectValue("GPS.Latitude", expected["lat"]);
            expectValue("GPS.Longitude", expected["lon"]);
            expectValue("GPS.Speed", expected["speed_knots"], 1.852);
            expectValue("GPS.Course", expected["course"]);
            expectValue("GPS.Date", expected["date"]);
            EXPECT_EQ(signals.at("GPS.Time")->slot->raw,
                      static_cast<std::uint64_t>(std::stod(expected["utc"].get<std::string>())));
        }
    }

    std::map<std::string, std::unique_ptr<GPSSignal>> signals;
};

TEST_F(NmeaLogs, EverySentence) {
    const char* const folder = std::getenv("RKSIGNAL_RECORDINGS");
    if (folder == nullptr) {
        GTEST_SKIP() << "RKSIGNAL_RECORDINGS is not set";
    }
    const json logs = json::parse(contentOf(std::string(folder) + "/expected/nmea_rmc_gga.json"));
    int sentences = 0;
    for (const auto& [name, expectations] : logs.items()) {
        const std::vector<std::string> lines = linesOf(std::string(folder) + "/gpsd/nmea/" + name);
        for (const json& expected : expectations) {
            expectSentence(expected, lines.at(expected["line"].get<std::size_t>() - 1));
            ++sentences;
        }
    }
    EXPECT_EQ(sentences, 860);
}

} // namespace
} // namespace rksignal
