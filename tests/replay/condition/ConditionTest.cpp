/// \file
/// Conditions from text to tree: names, the text of the tree, errors, what is said before they are used, the
/// explanation.
#include "condition/CompiledCondition.h"
#include "condition/ConditionCheck.h"
#include "condition/Explanation.h"
#include "support/RandomExpression.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <sstream>
#include <tuple>

namespace rksignal {
namespace {

/// Owns its signals, none of which has a value at first, and compiles conditions over them.
struct VehicleSignals {
    VehicleSignals() {
        using enum signalValue_t;
        add({"Speed", Unsigned, 8, 0.1, 0}).unit = "km/h";
        add({"Count", Unsigned, 2, 1, 0});
        add({"Down", Signed, 3, -0.5, 1});
        add({"Ratio", Float, 32, 1, 0});
        add({"Exact", Double, 64, 2, 1});
        add({"Wide", Unsigned, 64, 1, 0});
        add({"Least", Signed, 64, 1, 0});
        add({"Fixed", Unsigned, 8, 0, 7});
        add({"Positive", Unsigned, 4, 1, 1});
        add({"Lever", Unsigned, 4, 1, 0}).valueDescriptions = {{0, "P"}, {1, "R"}, {2, "D"}};
        add({"Level", Unsigned, 8, 1, 0}).valueDescriptions = {{253, "not dry"}, {254, "wet"}, {255, "bad"}};
        add({"Twice", Signed, 8, -0.5, 2}).valueDescriptions = {
            {2, "x"}, {0xFFFFFFFFFFFFFFFE, "x"}, {4, "\"q"}};
    }

    baseSignalDef_t& add(const std::tuple<const char*, signalValue_t, std::uint8_t, double, double>& row) {
        baseSignalDef_t definition;
        std::tie(definition.instance, definition.type, definition.bits, definition.scale, definition.offset) =
            row;
        return all.emplace_back(std::make_unique<BaseSignal>(definition, false, &storage))->def;
    }

    /// Compiles and checks one condition; what there is to say about it becomes `messages`.
    std::unique_ptr<CompiledCondition> compile(const std::string& text, bool allowUnknown = false) {
        const ConditionText source{text, text, "here"};
        RemarkList remarks;
        auto condition = CompiledCondition::compile(source, storage, {.allowUnknown = allowUnknown}, remarks);
        if (condition != nullptr) {
            checkCondition(*condition, remarks);
        }
        messages.clear();
        for (const Remark& remark : remarks) {
            messages += remark.place + ": " + severityName(remark.severity) + ": " + remark.message() + "\n";
        }
        return condition;
    }

    SignalStorage storage;
    std::vector<std::unique_ptr<BaseSignal>> all;
    std::string messages;
};

TEST(ConditionText, ASingleEqualsSignSetsANameOff) {
    const char* const cases[][2] = {
        {" fast = Speed > 20 ", "fast|Speed > 20|--when fast"},
        {"a.b-1==", "a.b-1==|a.b-1==|--when 'a.b-1=='"},
        {"a.b-1=", "a.b-1||--when a.b-1"},
        {"Count == 1", "Count == 1|Count == 1|--when 'Count == 1'"},
        {"Count>=1", "Count>=1|Count>=1|--when 'Count>=1'"},
        {"1a=Count", "1a=Count|1a=Count|--when '1a=Count'"},
    };
    for (const auto& [argument, parts] : cases) {
        const ConditionText text = parseCondition(argument, "--when");
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
        {"Sped > 3 && Sped", "there is no signal Sped; close are Speed"},
        {"Count == true", "there is no signal true; the word is active"},
        {"Lever == \"N\"", "Lever has no text \"N\"; its texts are \"P\" (0), \"R\" (1), \"D\" (2)"},
        {"Count == \"N\"", "Count has no texts, and not \"N\""},
        {"Twice == \"x\"",
         "several values of Twice have the text \"x\"; its texts are \"x\" (1), \"\\\"q\" (0), \"x\" (3)"},
        {"Level + Lever == 'D'", "the text \"D\" is not compared with a signal; write SIGNAL == \"D\""},
        {"\"D\" < Levr", "there is no signal Levr; close are Lever, Level"},
        {"Lever == \"D", "the quote before D is not closed"},
        {"Wide > 0xFg", "0xFg is not a hexadecimal number of at most 16 digits"},
        {"Lever = d AND not Count => 3 or Level===not dry",
         "'=' is written ==, 'd' is written \"D\", 'AND' is written &&, 'not' is written !, '=>' is written "
         ">=, "
         "'or' is written ||, '===' is written ==, 'not dry' is written \"not dry\"; write 'Lever == \"D\" "
         "&& "
         "!Count >= 3 || Level==\"not dry\"'"},
    };
    VehicleSignals signals;
    testing::internal::CaptureStderr();
    for (const auto& [expression, message] : cases) {
        EXPECT_EQ(signals.compile(expression), nullptr) << expression;
        EXPECT_EQ(signals.messages, "here: error: " + message + "\n");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Condition, TextsAndHexadecimalNumbersBecomeNumbers) {
    const char* const cases[][2] = {
        {"Lever==\"D\" && 'R' != Lever", "Lever==2 && 1 != Lever"},
        {"Twice >= \"\\\"q\"||Wide!=0xFFFFFFFFFFFFFFFF", "Twice >= 0||Wide!=18446744073709551615"},
        {" # \"a\"\n-0X1f*Count>1e1", " # \"a\"\n-31*Count>1e1"},
        {"Level == active || Level == Lever", "Level == active || Level == Lever"},
    };
    VehicleSignals signals;
    for (const auto& [expression, translation] : cases) {
        const auto condition = signals.compile(expression);
        ASSERT_NE(condition, nullptr) << expression << ": " << signals.messages;
        EXPECT_EQ(condition->translation(), translation);
    }
}

TEST(Explanation, ListsEverySubExpression) {
    VehicleSignals signals;
    const auto condition =
        signals.compile("Speed * 2 > 20 + 1 && !Lever && Ratio && Wide % Level > Absent", true);
    const std::pair<const char*, unsigned long> raws[] = {
        {"Speed", 110}, {"Lever", 2}, {"Ratio", 0x7FC00000}, {"Wide", 5}, {"Level", 0}};
    for (const auto& [name, raw] : raws) {
        BaseSignal::getInstance(name, &signals.storage)->writeRaw(raw, 0);
    }
    std::ostringstream out;
    const UnknownReason reason = [](const BaseSignal& signal) { return signal.def.instance + " timed out"; };
    explain(*condition, reason, out);
    explain(*signals.compile("(Count || -1) == Wide"), reason, out);
    explain(*signals.compile("Wide"), reason, out);
    EXPECT_EQ(out.str(), "Speed * 2 > 20 + 1 && !Lever && Ratio && Wide % Level > Absent: false\n"
                         "  Speed * 2 > 20 + 1: true\n"
                         "    Speed * 2: 22\n"
                         "      Speed: 11 km/h\n"
                         "    20 + 1: 21\n"
                         "  !Lever: false\n"
                         "    Lever: 2 (D)\n"
                         "  Ratio: unknown (not a number)\n"
                         "  Wide % Level > Absent: unknown\n"
                         "    Wide % Level: unknown (not a number)\n"
                         "      Wide: 5\n"
                         "      Level: 0\n"
                         "    Absent: 0 (no such signal)\n"
                         "(Count || -1) == Wide: unknown\n"
                         "  Count || -1: unknown\n"
                         "    Count: unknown (Count timed out)\n"
                         "  Wide: 5\n"
                         "Wide: true\n"
                         "  Wide: 5\n");
}

TEST(ConditionCheck, SaysWhatWouldBeRegretted) {
    const std::string never = "warning: '@' can never be true: "; // @ stands for the expression
    const std::string always = "warning: '@' is always true: ";
    const std::string cases[][2] = {
        {"25.5 <= Speed || Wide >= 18446744073709551615 || Count < 3 || Down == 3 || Down == -0.5", ""},
        {"Least == -9223372036854775808 || Ratio == 16777217 - 1 || Ratio > 1e300 || Exact == 0.5", ""},
        {"Count / Down > 100 || Ratio * Fixed < 1 || -Wide % 3 == 2 || Lever == 2 || Level == 3", ""},
        {"(Count || Lever) && Wide || (Count)", ""},
        {"Speed > 25.5", never + "Speed lies between 0 and 25.5 km/h"},
        {"Down < -0.5", never + "Down lies between -0.5 and 3"},
        {"Fixed == 7", always + "Fixed is always 7"},
        {"0.3 != Speed", always + "the nearest values of Speed are 0.2 and 0.30000000000000004 km/h"},
        {"Ratio == 0.1",
         never + "the nearest values of Ratio are 0.09999999403953552 and 0.10000000149011612"},
        {"Speed + Count * 2 > 30 * 2", never + "'Speed + Count * 2' lies between 0 and 31.5, '30 * 2' is 60"},
        {"Count % 4 - Speed < -25.5", never + "'Count % 4 - Speed' lies between -25.5 and 3"},
        {"Ratio * 0 > 0.5", never + "'Ratio * 0' is always 0"},
        {"(Count < 2) == 2", never + "'Count < 2' is 0 or 1"},
        {"Positive", always + "it lies between 1 and 16"},
        {"Speed % 0 > 1", "warning: '@' can never be known: 'Speed % 0' is never a number"},
        {"2 > 1 && active", "warning: the expression reads no signal: it is always true"},
        {"Count && 3 > 4", "warning: '3 > 4' can never be true: it reads no signal\n"
                           "here: warning: the whole condition can never be true"},
        {"Count || Lever && Wide", "warning: '&&' follows '||' without parentheses; both bind equally, so "
                                   "this is '(Count || Lever) && Wide'"},
        {"Lever == 3", "remark: '@': the value table of Lever has no text for the raw value 3"},
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

TEST(ConditionCheck, NothingSaidIsContradicted) {
    VehicleSignals signals;
    std::map<std::string, double> names;
    for (const auto& signal : signals.all) {
        names[signal->def.instance];
    }
    std::mt19937_64 random(7);
    unsigned decided = 0;
    for (unsigned i = 0; i < 4000; ++i) {
        const std::string expression = RandomExpression(i, names).boolean(1 + static_cast<int>(i % 4)).text;
        const auto condition = signals.compile(expression);
        ASSERT_NE(condition, nullptr) << expression << '\n' << signals.messages;
        const std::string said = signals.messages + expression;
        const std::string text = condition->tree().text(condition->tree().root());
        const auto isSaid = [&](const std::string& verdict) {
            return said.find("'" + text + "'" + verdict) != said.npos ||
                   said.find("the whole condition" + verdict) != said.npos;
        };
        const bool never = isSaid(" can never be true");
        const bool always = isSaid(" is always true");
        const bool unknown = isSaid(" can never be known");
        decided += never || always || unknown ? 1 : 0;
        const auto readBack = signals.compile(text);
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
