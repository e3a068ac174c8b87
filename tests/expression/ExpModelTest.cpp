/// \file
/// Random expressions beside a model that evaluates them as they are made.
#include "expression/ExpressionTest.h"
#include "support/RandomExpression.h"

#include <limits>

using ExpModelTest = ExpressionTest;

TEST_F(ExpModelTest, RandomExpressions) {
    const double infinity = std::numeric_limits<double>::infinity();
    const std::map<std::string, randomexpression::Value> values = {
        {"zero", 0.0},  {"minusZero", -0.0}, {"inf", infinity}, {"minusInf", -infinity},
        {"three", 3.0}, {"minus", -2.5},     {"unknown", {}},   {"other", {}}};
    for (const auto& [name, value] : values)
        value ? set(name, *value) : setUnknown(name);
    set("other", std::nan("")); // a value that is valid, but no number
    std::map<std::string, int> seen;
    for (std::uint32_t seed = 0; seed < 20'000; ++seed) {
        const auto term = randomexpression::RandomExpression(seed, values).boolean(4);
        const std::string expected = !term.value ? "unknown" : *term.value != 0 ? "true" : "false";
        ++seen[expected];
        ASSERT_EQ(result(term.text), expected) << "seed " << seed << ": " << term.text;
    }
    for (const char* const outcome : {"true", "false", "unknown"})
        EXPECT_GT(seen[outcome], 2'000) << outcome;
}
