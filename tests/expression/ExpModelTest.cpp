/// \file
/// Random expressions beside a model that evaluates them as they are made.
#include "expression/ExpressionTest.h"
#include "support/RandomExpression.h"

#include <limits>

using ExpModelTest = ExpressionTest;

TEST_F(ExpModelTest, RandomExpressions) {
    const double infinity = std::numeric_limits<double>::infinity(), unknown = std::nan("");
    const std::map<std::string, double> values = {
        {"zero", 0.0},  {"minusZero", -0.0}, {"inf", infinity},    {"minusInf", -infinity},
        {"three", 3.0}, {"minus", -2.5},     {"invalid", unknown}, {"unknown", unknown}};
    for (const auto& [name, value] : values)
        set(name, value);
    setUnknown("unknown"); // the other one is a valid value, but no number
    std::map<std::string, int> seen;
    for (std::uint32_t seed = 0; seed < 20'000; ++seed) {
        const auto term = RandomExpression(seed, values).boolean(4);
        const std::string expected = std::isnan(term.value) ? "unknown" : term.value != 0 ? "true" : "false";
        ++seen[expected];
        ExpParser expression(term.text.c_str(), false, &storage);
        ASSERT_TRUE(expression.isUsable()) << "seed " << seed << ": " << term.text;
        ASSERT_EQ(result(expression), expected) << "seed " << seed << ": " << term.text;
        expression.program.reserve(expression.program.size() + 1); // moves: it is run step by step
        ASSERT_EQ(result(expression), expected) << "step by step, seed " << seed << ": " << term.text;
    }
    for (const char* const outcome : {"true", "false", "unknown"})
        EXPECT_GT(seen[outcome], 2'000) << outcome;
}
