/// \file
/// The data of a page: the contract between the program that writes it and the page that shows it.
#include "page/DriveReport.h"
#include "page/FairShares.h"
#include "replay/CandumpFrame.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <bit>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

using nlohmann::json;

constexpr std::uint64_t start = 1'772'352'000'000'000'000; // 2026-03-01T08:00:00Z
constexpr std::uint64_t ms = 1'000'000;

/// Reads what packCurve() has written, in the simplest way there is.
class CurveReader {
  public:
    CurveReader(const std::string& bytes, const json& curve) : bytes(bytes), at(curve["at"]) {
        const std::size_t points = curve["points"];
        std::uint64_t time = 0;
        for (std::size_t i = 0; i < points; ++i) {
            all.emplace_back(time += leb128(), std::nan(""));
        }
        curve["values"] == "delta" ? readDifferences() : readDoubles();
    }

    std::vector<std::pair<std::uint64_t, double>> all; ///< microseconds, values

  private:
    std::uint64_t byte() { return static_cast<unsigned char>(bytes.at(at++)); }
    std::uint64_t leb128() {
        std::uint64_t number = 0;
        for (unsigned shift = 0;; shift += 7) {
            const std::uint64_t next = byte();
            number += (next & 0x7F) << shift;
            if (next < 0x80) {
                return number;
            }
        }
    }
    void readDifferences() {
        const std::size_t breaks = at;
        at += (all.size() + 7) / 8;
        std::int64_t value = 0;
        for (std::size_t i = 0; i < all.size(); ++i) {
            if ((static_cast<unsigned char>(bytes.at(breaks + i / 8)) >> i % 8 & 1) == 0) {
                const auto code = static_cast<std::int64_t>(leb128());
                value += code % 2 == 0 ? code / 2 : -(code + 1) / 2;
                all[i].second = static_cast<double>(value);
            }
        }
    }
    void readDoubles() {
        for (auto& point : all) {
            std::uint64_t bits = 0;
            for (unsigned shift = 0; shift < 64; shift += 8) {
                bits |= byte() << shift;
            }
            point.second = std::bit_cast<double>(bits);
        }
    }

    const std::string& bytes;
    std::size_t at;
};

/// One drive over definitions of a DBC file.
class Drive {
  public:
    Drive(const std::string& dbc, const std::vector<std::string>& conditions,
          const DriveReportSettings& settings = {}) {
        catalog.addDbcText(dbc, "a.dbc");
        std::vector<Condition> compiled;
        for (const std::string& text : conditions) {
            compiled.emplace_back(text, catalog, ConditionOptions{.edgeTrigger = true});
        }
        report.emplace(catalog, std::move(compiled), settings);
    }
    void send(std::uint64_t time, const std::string& text) {
        report->messages().receive(frameOf(text, start + time));
    }
    /// \return the header
    json finish(const PageSettings& settings = {}) {
        report->finish();
        data = report->page(settings);
        return json::parse(data.header);
    }

    Catalog catalog;
    std::optional<DriveReport> report;
    PageData data;
};

const char* const motionDbc = R"(BO_ 256 Motion: 8 X
 SG_ Speed : 0|16@1- (0.5,-10) [0|0] "km/h" X
 SG_ Gear : 16|8@1+ (1,0) [0|0] "" X
 SG_ Force : 32|32@1- (1,0) [0|0] "N" X
BO_ 2 Never: 1 X
 SG_ Seen : 0|8@1+ (1,0) [0|0] "" X
CM_ BO_ 256 "moves";
CM_ SG_ 256 Gear "of the lever";
VAL_ 256 Gear 0 "Park" 4 "Drive" 9 "Broken" ;
SIG_VALTYPE_ 256 Force : 1;
)";

TEST(DriveReport, WritesTheHeaderAndTheCurves) {
    Drive drive(motionDbc, {"fast = Motion.Speed > 40"});
    drive.send(0, "100#0000000000000000");
    drive.send(100 * ms, "100#FEFF04000000803F");
    drive.send(200 * ms + 999, "100#C80004000000C0BF");
    drive.send(250 * ms, "7FF#00");
    drive.send(300 * ms, "100#1400040000002041");
    const json header = drive.finish({.program = "rksignal 1",
                                      .title = "T",
                                      .traces = {"t.log"},
                                      .definitions = {"a.dbc"},
                                      .remarks = {"one"},
                                      .panels = {{1}, {0}}});
    json signals = header["signals"];
    for (json& signal : signals) {
        signal.erase("curve");
        signal.erase("spark");
    }
    EXPECT_EQ(signals, json::parse(R"([
{"instance":"Motion.Speed","message":1,"unit":"km/h","comment":"","kind":"line","float":false,"factor":0.5,
 "offset":-10,"min":-2,"max":200,"last":20,"count":4,"changes":3,"resolution":0,"texts":{},"panel":1},
{"instance":"Motion.Gear","message":1,"unit":"","comment":"of the lever","kind":"states","float":false,"factor":1,
 "offset":0,"min":0,"max":4,"last":4,"count":4,"changes":1,"resolution":0,"texts":{"0":"Park","4":"Drive"},"panel":0},
{"instance":"Motion.Force","message":1,"unit":"N","comment":"","kind":"line","float":true,"factor":1,"offset":0,
 "min":-1.5,"max":10,"last":10,"count":4,"changes":3,"resolution":0,"texts":{},"panel":null},
{"instance":"Never.Seen","message":0,"unit":"","comment":"","kind":"empty","float":false,"factor":1,"offset":0,
 "min":null,"max":null,"last":null,"count":0,"changes":0,"resolution":0,"texts":{},"panel":null}])"));
    EXPECT_EQ(header["messages"], json::parse(R"([
{"name":"Never","bus":"CAN","channel":null,"id":"002","count":0,"interval":null,"length":1,"comment":"","decoded":true},
{"name":"Motion","bus":"CAN","channel":0,"id":"100","count":4,"interval":100000,"length":8,"comment":"moves","decoded":true},
{"name":"","bus":"CAN","channel":0,"id":"7FF","count":1,"interval":null,"length":1,"comment":"","decoded":false}])"));
    EXPECT_EQ(header["conditions"],
              json::parse(R"([{"name":"fast","text":"Motion.Speed > 40","count":1,"firings":
[{"at":200000,"until":300000,"why":"Motion.Speed > 40: true\n  Motion.Speed: 90 km/h"}]}])"));
    EXPECT_EQ(header["findings"], json::parse(R"([
{"rule":"never-seen","severity":"note","at":null,"until":null,"message":0,"signal":null,"about":"Never",
 "text":"never seen","count":0,"moments":[]},
{"rule":"undefined","severity":"note","at":250000,"until":null,"message":2,"signal":null,"about":"",
 "text":"no definition","count":1,"moments":[]}])"));
    json rest = header;
    for (const char* const part : {"signals", "messages", "conditions", "findings"}) {
        rest.erase(part);
    }
    EXPECT_EQ(rest, json::parse(R"({"version":1,"program":"rksignal 1","title":"T","traces":["t.log"],
"definitions":["a.dbc"],"start":"2026-03-01T08:00:00.000000Z","startNs":"1772352000000000000","from":0,"to":300000,
"frames":5,"gaps":[],"remarks":["one"]})"));

    using Points = std::vector<std::pair<std::uint64_t, double>>;
    const auto points = [&](std::size_t signal) {
        return CurveReader(drive.data.curves, header["signals"][signal]["curve"]).all;
    };
    EXPECT_EQ(points(0), (Points{{0, 0}, {100'000, -2}, {200'000, 200}, {300'000, 20}}));
    EXPECT_EQ(points(1), (Points{{0, 0}, {100'000, 4}, {300'000, 4}}));
    EXPECT_EQ(points(2), (Points{{0, 0}, {100'000, 1}, {200'000, -1.5}, {300'000, 10}}));
    EXPECT_EQ(header["signals"][3]["curve"], nullptr);
    // Gear is 0 for a third of the time, then 4
    const json& spark = header["signals"][1]["spark"];
    EXPECT_EQ(spark.size(), 64);
    EXPECT_EQ((std::vector<int>{spark[0], spark[1], spark[20], spark[21], spark[22], spark[62]}),
              (std::vector<int>{0, 0, 0, 255, 255, 255}));
}

TEST(DriveReport, HoldsAnyTextAsData) {
    const std::string hostile =
        "</script><!--<b>&\xE2\x80\xA8\xE2\x80\xA9\xE2\x80\xAE\xE2\x80\xAC \\\\ \x01\x7F\xFF";
    const std::string utf8 =
        hostile.substr(0, hostile.size() - 1); // other definitions are read as Windows-1252
    Drive drive("BO_ 1 M: 1 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"" + utf8 + "\" X\nCM_ SG_ 1 S \"" + utf8 +
                    "\";\n" + "VAL_ 1 S 7 \"" + utf8 + "\" ;\n",
                {"M.S > 1 && M.S < 9"});
    drive.send(0, "001#07");
    const json header = drive.finish({.title = hostile, .traces = {hostile}, .remarks = {hostile}});
    EXPECT_EQ(drive.data.header.find_first_of("<>&\x01\x1F"), std::string::npos);
    EXPECT_EQ(drive.data.header.find("\xE2\x80\xA8"), std::string::npos);
    const std::string whole = "</script><!--<b>&\u2028\u2029\u202E\u202C \\\\ \x01\x7F\uFFFD";
    EXPECT_EQ(header["title"], whole);
    EXPECT_EQ(header["remarks"], json::array({whole}));
    EXPECT_EQ(header["conditions"][0]["name"], "M.S > 1 && M.S < 9");
    const std::string text = header["signals"][0]["texts"]["7"];
    EXPECT_TRUE(text.starts_with("</script><!--<b>&\u2028\u2029\u202E\u202C ")) << text;
}

/// Eight noisy signals in a million frames, one of them with a single spike.
TEST(DriveReport, FitsIntoItsRoomAndHidesNoSpike) {
    constexpr std::size_t frames = 1'000'000;
    constexpr std::size_t spike = 654'321;
    std::string dbc = "BO_ 1 M: 16 X\n";
    for (int i = 0; i < 8; ++i) {
        dbc += " SG_ S" + std::to_string(i) + " : " + std::to_string(16 * i) + "|16@1+ (1,0) [0|0] \"V\" X\n";
    }
    Drive drive(dbc, {});
    CANExtTraceMessage frame = frameOf("001##0" + std::string(32, '0'), start);
    std::uint32_t noise = 1;
    for (std::size_t i = 0; i < frames; ++i) {
        for (std::size_t k = 0; k < 16; k += 2) {
            noise = noise * 1664525 + 1013904223; // Numerical Recipes, 7.1
            frame.payload[k] = static_cast<unsigned char>(noise >> 24);
        }
        frame.payload[7] = i == spike ? 0xEA : 0; // the upper half of S3
        frame.timestamp = start + i * ms;
        drive.report->messages().receive(frame);
    }
    const PageSettings settings{.panels = {{7}}, .maxBytes = 1'000'000};
    const json header = drive.finish(settings);
    EXPECT_LE(drive.data.header.size() + (drive.data.curves.size() + 2) / 3 * 4, settings.maxBytes);
    EXPECT_GT(drive.data.curves.size(), 500'000);
    const json& signals = header["signals"];
    EXPECT_GT(signals[7]["curve"]["points"], 3 * signals[6]["curve"]["points"].get<std::size_t>());
    for (std::size_t i = 0; i < signals.size(); ++i) {
        const auto points = CurveReader(drive.data.curves, signals[i]["curve"]).all;
        const auto [least, greatest] =
            std::ranges::minmax_element(points, {}, [](auto& each) { return each.second; });
        EXPECT_EQ(least->second, signals[i]["min"]) << i;
        EXPECT_EQ(greatest->second, signals[i]["max"]) << i;
        if (i == 3) {
            EXPECT_EQ(greatest->first, spike * 1000);
            EXPECT_GE(greatest->second, 0xEA00);
        }
    }
    EXPECT_EQ(drive.report->page(settings).header, drive.data.header);
}

TEST(FairShares, MeetSmallDemandsFirst) {
    const struct {
        std::vector<Demand> demands;
        std::size_t total;
        std::vector<std::size_t> shares;
    } cases[] = {
        {{{10}, {20}, {30}}, 100, {10, 20, 30}},
        {{{100}, {5}, {100}}, 25, {10, 5, 10}},
        {{{100, 3}, {100}, {4, 8}}, 44, {30, 10, 4}},
        {{{7}, {7}}, 0, {0, 0}},
        {{}, 9, {}},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(fairShares(each.demands, each.total), each.shares);
    }
}

} // namespace
} // namespace rksignal
