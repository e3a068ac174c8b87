/// \file
/// What is said about conditions before they are used: whole lines for chosen ones, and for random ones that
/// nothing said is wrong.
#include "tools/condition/VehicleSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace rksignal {
namespace {

TEST(ConditionCheck, SaysWhatWouldBeRegretted) {
    const std::string never = "warning: '@' can never be true: "; // @ stands for the expression
    const std::string always = "warning: '@' is always true: ";
    const std::string cases[][2] = {
        {"Speed > 25.5", never + "Speed lies between 0 and 25.5 km/h"},
        {"25.5 <= Speed && Wide >= 18446744073709551615 && Count < 3", ""},
        {"Wide >= 0", always + "Wide lies between 0 and 18446744073709551616"},
        {"Down < -0.5", never + "Down lies between -0.5 and 3"},
        {"Down == 3 || Down == -0.5 || Least == -9223372036854775808", ""},
        {"Fixed == 7", always + "Fixed is always 7"},
        {"Speed == 0.25", never + "the nearest values of Speed are 0.2 and 0.30000000000000004 km/h"},
        {"0.3 != Speed", always + "the nearest values of Speed are 0.2 and 0.30000000000000004 km/h"},
        {"Ratio == 0.1",
         never + "the nearest values of Ratio are 0.09999999403953552 and 0.10000000149011612"},
        {"Ratio == 16777217 - 1 || Ratio > 1e300 || Exact == 0.5", ""},
        {"Speed + Count * 2 > 30 * 2", never + "'Speed + Count * 2' lies between 0 and 31.5, '30 * 2' is 60"},
        {"Count % 4 - Speed < -25.5", never + "'Count % 4 - Speed' lies between -25.5 and 3"},
        {"Count / Down > 100 || Ratio * Fixed < 1 || -Wide % 3 == 2", ""},
        {"(Count < 2) == 2", never + "'Count < 2' is 0 or 1"},
        {"Positive", always + "it lies between 1 and 16"},
        {"Speed % 0 > 1", "warning: '@' can never be known: 'Speed % 0' is never a number"},
        {"2 > 1 && active", "warning: the expression reads no signal: it is always true"},
        {"Count && 3 > 4", "warning: '3 > 4' can never be true: it reads no signal\n"
                           "here: warning: the whole condition can never be true"},
        {"Count || Lever && Wide", "warning: '&&' follows '||' without parentheses; both bind equally, so "
                                   "this is '(Count || Lever) && Wide'"},
        {"(Count || Lever) && Wide || (Count)", ""},
        {"Lever == 3", "remark: '@': the value table of Lever has no text for the raw value 3"},
        {"Lever == 2 || Level == 3", ""},
    };
    VehicleSignals signals;
    for (const auto& [expression, message] : cases) {
        ASSERT_NE(signals.compile(expression), nullptr) << expression;
        std::string expected = message.empty() ? "" : "here: " + message + "\n";
        if (const std::size_t place = expected.find('@'); place != expected.npos) {
            expected.replace(place, 1, expression);
        }
        EXPECT_EQ(signals.messages, expected);
    }
}

/// Writes expressions by chance.
struct RandomExpression {
    std::string condition(unsigned depth) {
        if (depth == 0 || chance(6)) {
            return number(depth / 2) + oneOf({" < ", " > ", " <= ", " >= ", " == ", " != "}) +
                   number(depth / 2);
        }
        if (chance(4)) { // no number may stand where a boolean == could take it for its own operand
            return chance(2) ? "!(" + condition(depth - 1) + ")"
                             : number(depth / 2) + oneOf({" && (", " || ("}) + condition(depth - 1) + ")";
        }
        return "(" + condition(depth - 1) + oneOf({") || (", ") && (", ") == (", ") != ("}) +
               condition(depth - 1) + ")";
    }
    std::string number(unsigned depth) {
        if (depth == 0 || chance(3)) {
            return oneOf({"Speed", "Count", "Down", "Ratio", "Exact", "Wide", "Positive", "Fixed", "0", "1",
                          "2.5", "1e308", "0.3", "-0.5"});
        }
        return chance(6) ? "-(" + number(depth - 1) + ")"
                         : "(" + number(depth - 1) + oneOf({") + (", ") - (", ") * (", ") / (", ") % ("}) +
                               number(depth - 1) + ")";
    }
    bool chance(unsigned of) { return random() % of == 0; }
    std::string oneOf(const std::vector<const char*>& choices) { return choices[random() % choices.size()]; }

    std::mt19937_64& random;
};

/// Gives each signal one of its values, often one at an end of its range, or none.
void setByChance(VehicleSignals& signals, std::mt19937_64& random) {
    for (const auto& signal : signals.all) {
        const std::uint64_t raws[] = {0, ~std::uint64_t{0}, random(), 1, 0x7F800000, 0xFF800000};
        signal->write(raws[random() % std::size(raws)], 0);
        if (random() % 6 == 0) {
            signal->clear();
        }
    }
}

/// Whether `messages` give this verdict on the whole of `condition`.
bool isSaid(const std::string& messages, const Condition& condition, const std::string& verdict) {
    const std::string text = condition.tree().text(condition.tree().root());
    return messages.find("'" + text + "'" + verdict) != messages.npos ||
           messages.find("the whole condition" + verdict) != messages.npos;
}

TEST(ConditionCheck, NothingSaidIsContradicted) {
    VehicleSignals signals;
    std::mt19937_64 random(7);
    unsigned decided = 0;
    for (unsigned i = 0; i < 4000; ++i) {
        const std::string expression = RandomExpression{random}.condition(i % 5);
        const auto condition = signals.compile(expression);
        ASSERT_NE(condition, nullptr) << expression << '\n' << signals.messages;
        const std::string said = expression + '\n' + signals.messages;
        const bool never = isSaid(said, *condition, " can never be true");
        const bool always = isSaid(said, *condition, " is always true");
        const bool unknown = isSaid(said, *condition, " can never be known");
        decided += never || always || unknown ? 1 : 0;
        const auto readBack = signals.compile(condition->tree().text(condition->tree().root()));
        ASSERT_NE(readBack, nullptr) << said << signals.messages;
        for (int moment = 0; moment < 10; ++moment) {
            setByChance(signals, random);
            bool result = false;
            const bool isKnown = condition->parser().getExpResult(result);
            EXPECT_FALSE(isKnown && (unknown || (result ? never : always))) << said;
            for (const double value : {condition->evaluate().back(), readBack->evaluate().back()}) {
                EXPECT_EQ(!std::isnan(value), isKnown) << said;
                EXPECT_EQ(isKnown && value != 0, result) << said;
            }
        }
    }
    EXPECT_GT(decided, 200U);
}

} // namespace
} // namespace rksignal
