// GPS signals, from sentences to values and texts.

#include "input/GPSSignal.h"
#include "input/InputTest.h"

#include <bit>
#include <map>
#include <memory>

namespace {

constexpr std::uint64_t gpsBit = 0x0080000000000000;

const std::string active = "$GPRMC,092204.999,A,4250.5589,S,14718.5084,E,10.00,89.68,211200,,*14\r\n";
const std::string voidFix = "$GNRMC,093005,V,,,,,,,150726,,,N\n";
const std::string fixData = "$GPGGA,092204.999,4250.5589,S,14718.5084,E,1,04,24.4,-19.7,M,,,,0000*32\r\n";

} // namespace

class GPSSignalTest : public InputTest {
  protected:
    void SetUp() override {
        InputTest::SetUp();
        GPSSignal::gpsStatus = 0;
        for (const auto& [name, kind] : GPSSignal::gps_ids)
            signals[name] = std::make_unique<GPSSignal>(wide(name));
    }
    void TearDown() override {
        signals.clear();
        InputTest::TearDown();
    }

    static std::vector<unsigned long> receive(const std::string& sentences) {
        return decodedIds<GPSSignal>(GPSTraceMessage{.timestamp = 5, .sentences = sentences});
    }

    std::map<std::string, std::unique_ptr<GPSSignal>> signals;
};

TEST_F(GPSSignalTest, ActiveSentences) {
    EXPECT_THAT(receive(fixData), IsEmpty()) << "before any status";
    // In the order of names: altitude 0, course 1, date 2, latitude 3, longitude 4, satellites 5, speed 6,
    // ...
    EXPECT_THAT(receive(active + fixData),
                ElementsAre(gpsBit + 1, gpsBit + 2, gpsBit + 3, gpsBit + 4, gpsBit + 6, gpsBit + 7,
                            gpsBit + 8, gpsBit + 5, gpsBit));
    const std::tuple<const char*, double, const char*, const char*> rows[] = {
        {"GPS.Status", 1, "", "Active"},
        {"GPS.Time", 92204, "UTC", "09:22:04"},
        {"GPS.Date", 211200, "UTC", "21.12.00"},
        {"GPS.Latitude", -(42 + 50.5589 / 60), "", "42°50'33\"S"},
        {"GPS.Longitude", 147 + 18.5084 / 60, "", "147°18'30\"E"},
        {"GPS.Speed", 18.52, "km/h", ""},
        {"GPS.Course", 89.68, "°", ""},
        {"GPS.Satellites", 4, "", ""},
        {"GPS.Altitude", -19.7, "m", ""},
    };
    for (const auto& [name, value, unit, text] : rows) {
        GPSSignal& signal = *signals.at(name);
        EXPECT_NEAR(read(signal), value, 1e-9) << name;
        EXPECT_EQ(signal.getUnit(), unit);
        EXPECT_EQ(signal.getValueDescription(signal.slot->raw), text) << name;
        EXPECT_EQ(signal.slot->timestamp, 5U);
    }
    EXPECT_THAT(receive(fixData), ElementsAre(gpsBit + 5, gpsBit)) << "the status is remembered";
}

TEST_F(GPSSignalTest, VoidSentencesClearAllButTheStatus) {
    receive(active + fixData);
    EXPECT_THAT(receive(voidFix + fixData), ElementsAre(gpsBit + 7));
    for (const auto& [name, signal] : signals)
        EXPECT_EQ(signal->slot->valid, name == "GPS.Status" ? 1 : 0) << name;
    EXPECT_EQ(signals.at("GPS.Status")->getValueDescription(0), "Void");
    EXPECT_THAT(receive(fixData), IsEmpty());
    signals.erase("GPS.Status");
    EXPECT_THAT(receive(voidFix), IsEmpty());
}

TEST_F(GPSSignalTest, Texts) {
    const auto text = [this](const char* name, double value) {
        return signals.at(name)->getValueDescription(std::bit_cast<std::uint64_t>(value));
    };
    EXPECT_EQ(text("GPS.Latitude", 48.137222), "48°08'13\"N");
    EXPECT_EQ(text("GPS.Latitude", 0.0), "0°00'00\"N");
    EXPECT_EQ(text("GPS.Longitude", -0.9999999), "0°59'59\"W");
    EXPECT_EQ(signals.at("GPS.Date")->getValueDescription(150726), "15.07.26");
    EXPECT_EQ(signals.at("GPS.Time")->getValueDescription(93005), "09:30:05");
}

TEST_F(GPSSignalTest, NamesAreChecked) {
    const CapturedOutput output;
    const GPSSignal unknown(wide("GPS.Foo"));
    BaseSignal::instanceCounter = 0;
    signals.erase("GPS.Time");
    const GPSSignal clash(wide("GPS.Time"));
    EXPECT_EQ(output.out.text(),
              "[ERROR] GPSSignal::GPSSignal() GPS.Foo not found in predefined input lists, gpId = 0\n"
              "[ERROR] GPSSignal::GPSSignal() gpId 0x80000000000000 already exists\n");
    EXPECT_EQ(clash.id, ~std::uint64_t{0});
}
