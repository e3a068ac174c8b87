#include "output/NumberText.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace rksignal {
namespace {

std::string text(double value) {
    char out[maxNumberText];
    return {out, writeDouble(out, value)};
}

std::string text(std::uint64_t raw, signalValue_t type) {
    char out[maxNumberText];
    return {out, writeRaw(out, raw, type)};
}

TEST(NumberText, Doubles) {
    const struct {
        double value;
        const char* expected;
    } rows[] = {
        {0, "0"},
        {-0.0, "-0"},
        {1, "1"},
        {-40, "-40"},
        {100000, "100000"},
        {602.125, "602.125"},
        {29.560000000000002, "29.560000000000002"},
        {0.1, "0.1"},
        {-0.0001, "-0.0001"},
        {0.00001, "0.00001"},
        {0.000009, "9e-06"},
        {999999999999999, "999999999999999"},
        {1e15, "1e+15"},
        {1.8446744073709552e19, "18446744073709551616"},
        {1e22, "1e+22"},
        {4.9406564584124654e-324, "5e-324"},
        {-1.7976931348623157e308, "-1.7976931348623157e+308"},
        {std::numeric_limits<double>::infinity(), "inf"},
        {-std::numeric_limits<double>::infinity(), "-inf"},
        {std::numeric_limits<double>::quiet_NaN(), "nan"},
        {-std::numeric_limits<double>::quiet_NaN(), "nan"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(text(row.value), row.expected);
    }
}

TEST(NumberText, DoublesReadBackExactly) {
    std::mt19937_64 random(7); // NOLINT: the same numbers every time
    for (int i = 0; i < 100'000; ++i) {
        const auto value = std::bit_cast<double>(random());
        const double scaled = static_cast<double>(random() >> 40) * 0.01 - 40;
        if (std::isfinite(value)) {
            ASSERT_EQ(std::strtod(text(value).c_str(), nullptr), value);
        }
        ASSERT_EQ(std::strtod(text(scaled).c_str(), nullptr), scaled);
    }
}

TEST(NumberText, RawValues) {
    constexpr std::uint64_t allOnes = ~std::uint64_t{0};
    EXPECT_EQ(text(allOnes, signalValue_t::Unsigned), "18446744073709551615");
    EXPECT_EQ(text(allOnes, signalValue_t::Signed), "-1");
    EXPECT_EQ(text(std::uint64_t{1} << 63, signalValue_t::Signed), "-9223372036854775808");
    EXPECT_EQ(text(std::bit_cast<std::uint32_t>(-129.5F), signalValue_t::Float), "0xc3018000");
    EXPECT_EQ(text(1, signalValue_t::Float), "0x00000001");
    EXPECT_EQ(text(std::bit_cast<std::uint64_t>(1234500.5), signalValue_t::Double), "0x4132d64480000000");
}

TEST(NumberText, TimesHaveSixDecimalsOrNine) {
    TimeText time;
    const auto at = [&time](std::uint64_t timestamp) {
        char out[maxNumberText];
        return std::string(out, time.write(out, timestamp));
    };
    EXPECT_EQ(at(1626905042645596000), "1626905042.645596");
    EXPECT_EQ(at(1626905042000000000), "1626905042.000000");
    EXPECT_EQ(at(1626905042000000001), "1626905042.000000001");
    EXPECT_EQ(at(1626905043000100000), "1626905043.000100");
    EXPECT_EQ(at(0), "0.000000");
    EXPECT_EQ(at(22213513000), "22.213513");
    EXPECT_EQ(at(18446744072999999999U), "18446744072.999999999");
}

} // namespace
} // namespace rksignal
