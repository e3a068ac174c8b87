#include "text/NumberText.h"

#include <gtest/gtest.h>

#include <cmath>
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

} // namespace
} // namespace rksignal
