// NMEA sentences: what counts, and what it says.

#include "rktrace/GPSTraceMessage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>

namespace {

double number(std::uint64_t bits) {
    return std::bit_cast<double>(bits);
}

TEST(GPSTraceMessage, WhatCountsAsRmc) {
    const std::string body = "GPRMC,093005,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W";
    const std::pair<std::string, bool> rows[] = {
        {'$' + body + "*68", true},
        {'$' + body + "*69\n", false},
        {'$' + body + "*6\n", false},
        {'$' + body + "*\n", false},
        {body + "*68", false},
        {"noise" + body.substr(0, 20) + "$$" + body + "*68$", true},
        {"$GPGSV,1*00\n$GPRMC,broken\n$" + body + "*68", true},
        {"$XXRMC,,,,,,,,,,,\r", true},
        {"$RMC,093005,A,,,,,,,150726,,\n", false},
        {"", false},
    };
    for (const auto& [sentences, counts] : rows) {
        GPSTraceMessage::numeric_gprmc_t record;
        EXPECT_EQ((GPSTraceMessage{0, sentences}.getGPRMC(record)), counts) << sentences;
    }
}

TEST(GPSTraceMessage, WithoutChecksumASentenceIsWholeOrDoesNotCount) {
    const std::string rmc = "$GNRMC,221327.80,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W";
    const std::string gga = "$GNGGA,221327.80,4807.038,N,01131.000,E,1,12,0.9,545.4,M,46.9,M,1.2,0000";
    // Versions 2.0, 2.3 and 4.1 of the standard, and a later one, which always has a checksum.
    const std::pair<std::string, bool> rows[] = {
        {rmc + "\n", true},
        {rmc + ",A\n", true},
        {rmc + ",A,V\n", true},
        {rmc + ",A,V,\n", false},
        {gga.substr(0, 60) + "\n", false},
        {gga + "\n", true},
        {gga + ",\n", false},
        {rmc + gga + "\n", true}, // the second one is whole
    };
    for (const auto& [sentences, counts] : rows) {
        GPSTraceMessage::numeric_gprmc_t position;
        GPSTraceMessage::numeric_gpgga_t fix;
        const GPSTraceMessage message{0, sentences};
        EXPECT_EQ(message.getGPRMC(position) || message.getGPGGA(fix), counts) << sentences;
    }
    for (std::size_t length = 0; length <= std::max(rmc.size(), gga.size()); ++length) {
        const std::string cutRmc = rmc.substr(0, length);
        const std::string cutGga = gga.substr(0, length);
        GPSTraceMessage::numeric_gprmc_t position;
        GPSTraceMessage::numeric_gpgga_t fix;
        EXPECT_FALSE((GPSTraceMessage{0, cutRmc}.getGPRMC(position))) << cutRmc;
        EXPECT_FALSE((GPSTraceMessage{0, cutGga + "$GPGSV"}.getGPGGA(fix))) << cutGga;
    }
}

TEST(GPSTraceMessage, Fields) {
    const GPSTraceMessage message{0, "$GPGGA,123519.7,0007.5,S,17959.999,W,2,65535,0.9,-12.5,M,46.9,M,,\n"
                                     "$GNRMC,235960,A,0007.5,S,17959.999,W,100,359.9,311299,,\n"
                                     "$GNRMC,000000,V,,,,,,,010100,,\n"};
    GPSTraceMessage::numeric_gprmc_t rmc;
    ASSERT_TRUE(message.getGPRMC(rmc)) << "the first one";
    EXPECT_EQ(std::tuple(rmc.time, rmc.status, rmc.date), std::tuple(235960, 1, 311299));
    EXPECT_DOUBLE_EQ(number(rmc.latitude), -0.125);
    EXPECT_DOUBLE_EQ(number(rmc.longitude), -(179 + 59.999 / 60));
    EXPECT_DOUBLE_EQ(number(rmc.speed), 185.2);
    EXPECT_DOUBLE_EQ(number(rmc.course), 359.9);
    GPSTraceMessage::numeric_gpgga_t gga;
    ASSERT_TRUE(message.getGPGGA(gga));
    EXPECT_EQ(std::tuple(gga.time, gga.quality, gga.satellites), std::tuple(123519, 2, 65535));
    EXPECT_DOUBLE_EQ(number(gga.altitude), -12.5);
}

TEST(GPSTraceMessage, NumbersOutOfRangeCountAsEmpty) {
    GPSTraceMessage::numeric_gpgga_t fix{.quality = 7, .satellites = 8};
    ASSERT_TRUE((GPSTraceMessage{0, "$GPGGA,,,,,,257,65536,,,,,,,\n"}.getGPGGA(fix)));
    EXPECT_EQ(fix.quality, 7);
    EXPECT_EQ(fix.satellites, 8);
}

TEST(GPSTraceMessage, EmptyAndMalformedFields) {
    constexpr std::uint64_t before = 0x1234; // a tiny number
    const struct {
        const char* fields; ///< time, status, latitude and longitude, date
        std::int64_t time;
        double latitude;
        std::int64_t date;
    } rows[] = {
        {"093005,A,4807.5,N,,,,,150726,,", 93005, 48.125, 150726},
        {"0930,A,4807.5,S,,,,,15072,,", 7, -48.125, 8},
        {"09300x,A,4860.0,N,,,,,150726,,", 7, NAN, 150726},
        {"0930055,A,9000.001,N,,,,,-15072,,", 7, NAN, 8},
        {"093005.9,A,-4807.5,N,,,,,150726.,,", 93005, NAN, 150726},
        {",A,4807.5,X,,,,,,,", 7, NAN, 8},
        {",A,4e3,N,,,,,,,", 7, NAN, 8},
        {",,,N,,,,,,,", 7, number(before), 8},
    };
    for (const auto& row : rows) {
        GPSTraceMessage::numeric_gprmc_t rmc{7, 0, before, before, before, before, 8};
        ASSERT_TRUE((GPSTraceMessage{0, std::string("$GNRMC,") + row.fields + "\n"}.getGPRMC(rmc)))
            << row.fields;
        const double latitude = number(rmc.latitude);
        EXPECT_EQ(rmc.time, row.time) << row.fields;
        EXPECT_TRUE(latitude == row.latitude || (std::isnan(latitude) && std::isnan(row.latitude)));
        EXPECT_EQ(rmc.speed, before) << row.fields;
        EXPECT_EQ(rmc.date, row.date) << row.fields;
    }
}

} // namespace
