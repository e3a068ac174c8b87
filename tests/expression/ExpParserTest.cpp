// Trigger expressions: what they compile to, and what they evaluate to.

#include "expression/ExpressionTest.h"
#include "support/Allocations.h"

#include <atomic>
#include <barrier>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <malloc.h>
#include <new>
#include <thread>
#include <unistd.h>

namespace {

std::atomic<std::size_t> allocations = 0;
std::atomic<std::size_t> bytesInUse = 0;

/// A signal whose class has its own way of reading.
class Doubling : public BaseSignal {
  public:
    using BaseSignal::BaseSignal;
    using BaseSignal::read;
    bool read(double& number, unsigned long& timestamp) override {
        const bool valid = BaseSignal::read(number, timestamp);
        number *= 2;
        return valid;
    }
};

} // namespace

/// How often the program has allocated so far.
std::size_t allocationsSoFar() {
    return allocations;
}
std::size_t allocatedBytes() {
    return bytesInUse;
}

// Not inlined: the compiler would take the pairs of new and free for mistakes.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++allocations;
    void* const memory = std::malloc(size);
    bytesInUse += malloc_usable_size(memory);
    return memory;
}
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* const memory = operator new(size, std::nothrow))
        return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    bytesInUse -= malloc_usable_size(memory);
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}

using ExpParserTest = ExpressionTest;

TEST_F(ExpParserTest, CompilesToPostfix) {
    for (const char* const name :
         {"a", "b", "c", "d", "lowest", "pressed_longer", "temp%", "bus1.a#[1]$", "_"}) {
        set(name, 1);
    }
    const struct {
        const char* text;
        const char* program;
    } rows[] = {
        {"a || b && !c",
         "0 opsignal a;1 opnz;2 opsignal b;3 opnz;4 oplor;5 opsignal c;6 opnz;7 opnot;8 opland;"},
        {"a < b == c != d", "0 opsignal a;1 opsignal b;2 oplt;3 opsignal c;4 opsignal d;5 opdne;6 opbeq;"},
        {"a > b != c", "0 opsignal a;1 opsignal b;2 opgt;3 opsignal c;4 opnz;5 opbne;"},
        {"!(a >= b) == (c <= d)",
         "0 opsignal a;1 opsignal b;2 opge;3 opnot;4 opsignal c;5 opsignal d;6 ople;7 opbeq;"},
        {"-a * +(b + c) / d % 2", "0 opsignal a;1 opneg;2 opsignal b;3 opsignal c;4 opplus;5 opmult;6 "
                                  "opsignal d;7 opdiv;8 opdouble 2;9 opmod;"},
        {"x", "0 opdouble 0;"}, // not found
        {"temp% == bus1.a#[1]$", "0 opsignal temp%;1 opsignal bus1.a#[1]$;2 opdeq;"},
        {"lowest + pressed_longer + _",
         "0 opsignal lowest;1 opsignal pressed_longer;2 opplus;3 opsignal _;4 opplus;"},
        {"a ; ?'\"{}[]\\~$&|=.:#\x01\xC3^", "0 opsignal a;"}, // passed over
        {"-.5 + 5. + .5e3 + 5e-3", "0 opdouble -0.5;1 opdouble 5;2 opplus;3 opdouble 500;4 opplus;"
                                   "5 opdouble 0.005;6 opplus;"},
        {"-5 + 0.1 - 1E+2", "0 opdouble 5;1 opneg;2 opdouble 0.1;3 opplus;4 opdouble 100;5 opminus;"},
        {"\n# note\n \t\r\n  # more\n a \n\n# end\n", "0 opsignal a;"},
    };
    const CapturedOutput output;
    for (const auto& row : rows) {
        ExpParser expression(row.text, false, &storage);
        EXPECT_EQ(program(expression), row.program) << row.text;
        const std::vector<ExpParser::Step>& steps = expression.program; // unpacks them
        EXPECT_EQ(program(expression), row.program) << row.text;
        EXPECT_EQ(steps.size(), expression.program.size());
        EXPECT_TRUE(ExpParser::allExpParsers.contains(&expression)) << row.text;
    }
    EXPECT_EQ(output.err.text(), "[ERROR] ExpParser::add: Signal not found: x\n");
}

TEST_F(ExpParserTest, KeywordsAreConstants) {
    const std::pair<const char*, int> keywords[] = {
        {"released", 0}, {"pressed", 1}, {"pressed_long", 2}, {"high", 1},    {"low", 0},
        {"ok", 0},       {"error", 1},   {"nosync", 2},       {"warning", 3}, {"fwupdate", 4},
        {"mem", 5},      {"ring", 6},    {"active", 1},       {"void", 0}};
    for (const auto& [text, value] : keywords) {
        const ExpParser expression(text, false, &storage);
        EXPECT_EQ(program(expression), "0 opdouble " + std::to_string(value) + ";") << text;
    }
}

TEST_F(ExpParserTest, EdgeModeReportsTheChangeToTrue) {
    set("a", 1);
    ExpParser level("a > 0", false, &storage);
    ExpParser edge("a > 0", true, &storage);
    const double unknown = std::numeric_limits<double>::quiet_NaN();
    const struct {
        double a;
        bool level;
        bool edge;
    } steps[] = {{1, true, true}, {2, true, false},        {0, false, false}, {unknown, false, false},
                 {1, true, true}, {unknown, false, false}, {1, true, false},  {-1, false, false}};
    for (const auto& step : steps) {
        set("a", step.a);
        EXPECT_EQ(level.getTrigger(), step.level);
        EXPECT_EQ(edge.getTrigger(), step.edge);
    }
}

TEST_F(ExpParserTest, KnowsItsSignals) {
    set("b", 1);
    set("a", 1);
    set("c", 1);
    signalNamed("a").id = 7;
    ExpParser expression("b + a > b", false, &storage);
    EXPECT_EQ(expression.expression, "b + a > b");
    EXPECT_EQ(expression.storage, &storage);
    EXPECT_EQ(expression.signalIds, (std::set<std::uint64_t>{0, 7}));
    EXPECT_EQ(std::vector(expression.signals.begin(), expression.signals.end()),
              (std::vector{&signalNamed("a"), &signalNamed("b")}));
    EXPECT_EQ(expression.getLastestTime(), 2U);
    signalNamed("b").writeTS(9);
    setUnknown("a");
    EXPECT_EQ(expression.getLastestTime(), 9U);
    EXPECT_EQ(ExpParser("1 > 0", false).getLastestTime(), 0U);
}

TEST_F(ExpParserTest, ClientClassesReadInTheirOwnWay) {
    const Doubling doubled(byteDefinition("doubled"), false, &storage);
    BaseSignal::getInstance("doubled", &storage)->writeRaw(21, 1);
    EXPECT_EQ(result("doubled == 42"), "true");
    EXPECT_EQ(result("42 == doubled && !(doubled != 42)"), "true");
}

TEST_F(ExpParserTest, ReadsSignalsOfEveryTypeAsTheyReadThemselves) {
    const std::string name = "expression_" + std::to_string(getpid());
    std::stringstream claims;
    const struct {
        signalValue_t type;
        double scale, offset;
    } definitions[] = {{signalValue_t::Unsigned, 0.1, -40},
                       {signalValue_t::Signed, -0.25, 1e9},
                       {signalValue_t::Float, 3, 0.5},
                       {signalValue_t::Double, 1, -0.0}};
    for (const auto& [type, scale, offset] : definitions) {
        for (const bool shared : {false, true}) {
            baseSignalDef_t definition = byteDefinition(name);
            definition.type = type;
            definition.scale = scale;
            definition.offset = offset;
            const CapturedOutput quiet;
            BaseSignal signal(definition, shared, &storage);
            for (const unsigned long raw : {0UL, 1UL, 0x42280000UL, 1UL << 63, ~0UL, 0x4045000000000000UL}) {
                signal.writeRaw(raw, 1);
                double expected = 0;
                unsigned long timestamp = 0;
                signal.read(expected, timestamp);
                set("expected", expected);
                signal.value = 0; // which reading sets
                EXPECT_EQ(result(name + " == expected"), std::isnan(expected) ? "unknown" : "true") << raw;
                EXPECT_EQ(std::bit_cast<std::uint64_t>(signal.value), std::bit_cast<std::uint64_t>(expected));
            }
            signal.clear();
            EXPECT_EQ(result(name + " == 0"), "unknown");
            claims << "/tmp/.rksignal-key-" << std::hex << (shared ? signal.key : 0) << '\n';
        }
    }
    std::remove(("/tmp/" + name).c_str());
    for (std::string path; std::getline(claims, path);)
        std::remove(path.c_str());
}

TEST_F(ExpParserTest, KeepsNothingOfItsScanner) {
    std::vector<std::unique_ptr<ExpParser>> expressions(1000);
    set("Vehicle.Speed", 1);
    set("Door.Open", 1);
    const std::size_t before = allocatedBytes();
    for (auto& expression : expressions)
        expression = std::make_unique<ExpParser>("Vehicle.Speed > 50 && Door.Open == 1", true, &storage);
    EXPECT_LE((allocatedBytes() - before) / expressions.size(), 1'500U);
}

TEST_F(ExpParserTest, EvaluationAllocatesNothing) {
    set("a", 1);
    setUnknown("u");
    ExpParser expression("(a + 2) * a / 4 > 10 || !u == 3 && -a % 7 < 1e3", true, &storage);
    const std::size_t before = allocations;
    for (int i = 0; i < 10; ++i) {
        expression.getTrigger();
        expression.getLastestTime();
    }
    EXPECT_EQ(allocations, before);
}

TEST_F(ExpParserTest, TheStackGrowsInFewAllocations) {
    ExpParser expression("0", false);
    expression.program.reserve(1'000'001);
    const std::size_t before = allocations;
    for (std::uint64_t steps = 2; steps <= 1'000'000; ++steps) {
        expression.add(1.0);
        ASSERT_EQ(expression.stackCapacity, steps);
    }
    EXPECT_LE(allocations - before, 20U);
}

TEST_F(ExpParserTest, SeveralThreadsBuildAtOnce) {
    std::barrier start(4);
    const auto build = [&](int thread) {
        const std::string text = "s" + std::to_string(thread) + " == " + std::to_string(thread);
        start.arrive_and_wait();
        for (int i = 0; i < 5'000; ++i) {
            const ExpParser other("x > > 1", false, &storage, ExpErrors::Collect);
            EXPECT_FALSE(other.isUsable());
            EXPECT_EQ(result(text), "true");
        }
    };
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread)
        set("s" + std::to_string(thread), thread);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back(build, thread);
    threads.clear();
    EXPECT_TRUE(ExpParser::allExpParsers.empty());
}

TEST_F(ExpParserTest, ClearDestroysAllThatWereBuilt) {
    auto* const first = new ExpParser("1", false);
    auto* const second = new ExpParser("2", false);
    const CapturedOutput output;
    const ExpParser broken("3 3", false);
    EXPECT_EQ(ExpParser::allExpParsers, (std::set<ExpParser*>{first, second}));
    ExpParser::clear();
    EXPECT_TRUE(ExpParser::allExpParsers.empty());
}

TEST_F(ExpParserTest, RunsProgramsBuiltByHand) {
    ExpParser expression("2", false);
    expression.add(10.0);
    expression.add(&ExpParser::opexp);
    expression.add(1024.0);
    expression.add({&ExpParser::opdeq, {}});
    EXPECT_EQ(result(expression), "true");
    EXPECT_EQ(expression.stackCapacity, 4U);

    const CapturedOutput output;
    expression.add(5.0);
    EXPECT_EQ(result(expression), "unknown");
    EXPECT_EQ(output.err.text(), "[ERROR] stack size wrong at end of program: 2\n");
}

TEST_F(ExpParserTest, TheProgramIsAVectorOfSteps) {
    set("speed", 7);
    storage.instancesByName["v"] = &signalNamed("speed");
    ExpParser expression("v > 2 && speed > 3", false, &storage);
    const auto names = [&] {
        std::string all;
        for (const auto& [operation, operand] : expression.program)
            all += operand.signal == &signalNamed("speed") ? operand.name + ' ' : "";
        return all;
    };
    EXPECT_EQ(expression.program.size(), 7U);
    EXPECT_EQ(names(), "v speed ");
    EXPECT_EQ(result(expression), "true");
    expression.program[1].second.constant = 7;
    expression.program.push_back({&ExpParser::opnot, {}}); // no longer what was compiled
    expression.program.insert(expression.program.begin() + 3, {&ExpParser::opnot, {}});
    EXPECT_EQ(result(expression), "false"); // !(!(7 > 7) && 7 > 3)
    EXPECT_EQ(program(expression), "0 opsignal v;1 opdouble 7;2 opgt;3 opnot;4 opsignal speed;5 opdouble 3;"
                                   "6 opgt;7 opland;8 opnot;");
    storage.instancesByName.erase("v");
}

TEST_F(ExpParserTest, TooFewElementsEndTheProcess) {
    ExpParser expression("2", false);
    expression.program.clear();
    expression.add(1.0);
    expression.add(&ExpParser::opplus);
    EXPECT_EXIT(result(expression), testing::ExitedWithCode(4),
                "^Less than 2 elements on bool stack \\(1\\)\n$");
    expression.program.clear();
    expression.add(&ExpParser::opnz);
    EXPECT_EXIT(result(expression), testing::ExitedWithCode(4),
                "^Less than 1 elements on bool stack \\(0\\)\n$");
}
