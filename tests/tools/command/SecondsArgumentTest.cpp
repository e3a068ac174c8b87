#include "command/SecondsArgument.h"

#include "command/UsageError.h"

#include <gtest/gtest.h>

TEST(SecondsArgument, IsExactAndNothingElse) {
    using rksignal::parseSeconds;
    EXPECT_EQ(parseSeconds("--at", "2."), 2'000'000'000U);
    EXPECT_EQ(parseSeconds("--at", "0.05"), 50'000'000U);
    EXPECT_EQ(parseSeconds("--at", "1700000012.345678901"), 1'700'000'012'345'678'901U);
    for (const char* const text :
         {"", ".", ".5", "-1", "+1", "1e3", "1,5", " 1", "1.0000000001", "1.5s", "1.-5", "18446744074"}) {
        EXPECT_THROW(parseSeconds("--at", text), rksignal::UsageError) << text;
    }
}
