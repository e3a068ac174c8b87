#include "text/NumberText.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <iterator>
#include <random>
#include <string>

namespace rksignal {
namespace {

template <class Write, class... Arguments>
std::string textOf(Write write, Arguments... arguments) {
    char out[maxNumberText];
    return std::string(out, write(out, arguments...)) + " ";
}

TEST(NumberText, IsTheShortestThatReadsBackTheSame) {
    std::string text;
    for (const double value :
         {0.0, -0.0, -40.0, 29.560000000000002, 0.00001, 0.000009, 999999999999999.0, 1e15, 5e-324,
          1.8446744073709552e19, -1.7976931348623157e308, -HUGE_VAL, -std::nan("")}) {
        text += textOf(writeDouble, value);
    }
    EXPECT_EQ(text, "0 -0 -40 29.560000000000002 0.00001 9e-06 999999999999999 1e+15 5e-324 "
                    "18446744073709551616 -1.7976931348623157e+308 -inf nan ");
    EXPECT_EQ(textOf(writeRaw, 1UL << 63, signalValue_t::Signed) +
                  textOf(writeRaw, ~0UL << 32 | 1, signalValue_t::Float) +
                  textOf(writeRaw, 1UL, signalValue_t::Double),
              "-9223372036854775808 0x00000001 0x0000000000000001 ");
}

/// Numbers with few decimals go a shorter way than those that the standard library writes, and so do their
/// neighbours, which differ in the last bit only.
TEST(NumberText, IsTheSameWhateverTheNumberOfDecimals) {
    std::mt19937_64 random(1);
    std::uniform_int_distribution<int> decimals(0, 10);
    for (int i = 0; i < 200'000; ++i) {
        const auto whole = static_cast<double>(random() >> (random() % 63));
        const double exact = (i % 2 == 0 ? 1 : -1) * whole / std::pow(10, decimals(random));
        for (const double value : {exact, std::nextafter(exact, 0)}) {
            char text[512];
            const bool isFixed = std::fabs(value) >= 1e-5 && std::fabs(value) < 1e15;
            const auto result = isFixed ? std::to_chars(text, std::end(text), value, std::chars_format::fixed)
                                        : std::to_chars(text, std::end(text), value);
            if (isFixed || value != std::trunc(value)) {
                ASSERT_EQ(doubleText(value), std::string(text, result.ptr));
            }
        }
    }
}

} // namespace
} // namespace rksignal
