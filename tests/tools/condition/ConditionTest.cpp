/// \file
/// Conditions from text to tree: names, the text of the tree, errors, the explanation.
#include "condition/Explanation.h"
#include "tools/condition/VehicleSignals.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

TEST(ConditionText, ASingleEqualsSignSetsANameOff) {
    const char* const cases[][2] = {
        {" fast = Speed > 20 ", "fast|Speed > 20|--when fast"},
        {"a.b-1=Count==1", "a.b-1|Count==1|--when a.b-1"},
        {"Count == 1", "Count == 1|Count == 1|--when 'Count == 1'"},
        {"Count>=1", "Count>=1|Count>=1|--when 'Count>=1'"},
        {"1a=Count", "1a=Count|1a=Count|--when '1a=Count'"},
        {"empty =", "empty||--when empty"},
    };
    for (const auto& [argument, parts] : cases) {
        const ConditionText text = parseCondition(argument);
        EXPECT_EQ(text.name + "|" + text.expression + "|" + text.origin, parts);
    }
}

TEST(ExpressionTree, TextHasTheParenthesesThatAReaderNeeds) {
    const char* const cases[][2] = {
        {"Speed-(Count-1)-((2))>0", "Speed - (Count - 1) - 2 > 0"},
        {"(Speed*Count)/2%(Count %3)<=-1", "Speed * Count / 2 % (Count % 3) <= -1"},
        {"-(Speed+1)*-Count>=+.5e1", "-(Speed + 1) * -Count >= 5"},
        {"(Speed+1)*2!=-(-Count)", "(Speed + 1) * 2 != --Count"},
        {"Speed && Count || Wide && (Ratio || Wide)", "(Speed && Count || Wide) && (Ratio || Wide)"},
        {"!Speed == 3 || !!(Count)", "!(Speed == 3) || !!Count"},
        {"((!Speed) == 3) == active", "((!Speed) == 3) == 1"},
        {"Speed == Count == Wide", "(Speed == Count) == Wide"},
        {"0 == Absent && Lever == pressed_long", "0 == Absent && Lever == 2"},
    };
    VehicleSignals signals;
    for (const auto& [expression, text] : cases) {
        const auto condition = signals.compile(expression, true);
        ASSERT_NE(condition, nullptr) << expression << ": " << signals.messages;
        EXPECT_EQ(condition->tree().text(condition->tree().root()), text);
    }
}

TEST(Condition, ErrorsAreSaidInOneLine) {
    const std::string cases[][2] = {
        {"", "there is no expression"},
        {"Speed > 50 & Count", "syntax error at '50 & Count'"},
        {"Speed >", "syntax error at the end, behind '>'"},
        {"&& Speed", "syntax error at the start"},
        {std::string(128, 'n') + " > 1", "name of 128 characters or more at the start"},
        {"Sped > Lver && Sped", "there is no signal Sped; close are Speed, Fixed, Down\n"
                                "here: error: there is no signal Lver; close are Lever, Level, Least"},
        {"Count == true", "there is no signal true; the word is active"},
    };
    VehicleSignals signals;
    testing::internal::CaptureStderr();
    for (const auto& [expression, message] : cases) {
        EXPECT_EQ(signals.compile(expression), nullptr) << expression;
        EXPECT_EQ(signals.messages, "here: error: " + message + "\n");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Explanation, ListsEverySubExpression) {
    VehicleSignals signals;
    const auto condition =
        signals.compile("Speed * 2 > 20 + 1 && !Lever && Ratio && 1 < 2 && Wide % Count > Absent", true);
    signals["Speed"].writeRaw(110, 0);
    signals["Lever"].writeRaw(2, 0);
    signals["Ratio"].writeRaw(0x7FC00000, 0); // NaN
    signals["Wide"].writeRaw(5, 0);
    signals["Count"].writeRaw(0, 0);
    std::ostringstream out;
    const UnknownReason reason = [](const BaseSignal& signal) { return signal.def.instance + " timed out"; };
    explain(*condition, reason, out);
    signals["Count"].clear();
    explain(*signals.compile("Wide"), reason, out);
    explain(*signals.compile("(Count || -1) == 1"), reason, out);
    EXPECT_EQ(out.str(), "Speed * 2 > 20 + 1 && !Lever && Ratio && 1 < 2 && Wide % Count > Absent: false\n"
                         "  Speed * 2 > 20 + 1: true\n"
                         "    Speed * 2: 22\n"
                         "      Speed: 11 km/h\n"
                         "    20 + 1: 21\n"
                         "  !Lever: false\n"
                         "    Lever: 2 (D)\n"
                         "  Ratio: unknown (not a number)\n"
                         "  1 < 2: true\n"
                         "  Wide % Count > Absent: unknown\n"
                         "    Wide % Count: unknown (not a number)\n"
                         "      Wide: 5\n"
                         "      Count: 0\n"
                         "    Absent: 0 (no such signal)\n"
                         "Wide: true\n"
                         "  Wide: 5\n"
                         "(Count || -1) == 1: unknown\n"
                         "  Count || -1: unknown\n"
                         "    Count: unknown (Count timed out)\n"
                         "    -1: -1\n");
}

} // namespace
} // namespace rksignal
