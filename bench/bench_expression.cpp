// Evaluating and compiling trigger conditions, beside muParser and, where it is there, ExprTk with the same
// reads of signals, and beside native code with the same reads: the limit.

#ifdef BENCH_EXPRTK
#include "ExprTkCondition.h"
#endif
#include "QuietOutput.h"
#include "expression/ExpParser.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <limits>
#include <malloc.h>
#include <memory>
#include <muParser.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

/// Signals named `names`, each with a value; their key files are removed with them.
class BenchSignals {
  public:
    BenchSignals(const std::vector<std::string>& names, bool shared) {
        const QuietOutput quiet;
        for (const std::string& name : names) {
            baseSignalDef_t definition;
            definition.instance = name + "_" + std::to_string(getpid());
            definition.signal = name;
            definition.bits = 16;
            definition.scale = 0.5;
            signals.push_back(std::make_unique<BaseSignal>(definition, shared));
            signals.back()->writeRaw(120 + signals.size(), 1);
            storage.instancesByName[name] = signals.back().get();
        }
    }
    ~BenchSignals() {
        const QuietOutput quiet;
        for (auto& signal : signals) {
            const std::string keyFile = "/tmp/" + signal->def.instance;
            signal.reset();
            std::remove(keyFile.c_str());
        }
    }
    BenchSignals(const BenchSignals&) = delete;
    BenchSignals& operator=(const BenchSignals&) = delete;

    double read(std::size_t index) const {
        double value = 0.0;
        unsigned long timestamp = 0;
        return signals[index]->read(value, timestamp) ? value : std::numeric_limits<double>::quiet_NaN();
    }
    void readAll(std::vector<double>& values) const {
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = read(i);
        }
    }

    SignalStorage storage; ///< finds them by the names in the conditions

  private:
    std::vector<std::unique_ptr<BaseSignal>> signals;
};

/// One condition in the three forms.
struct Condition {
    const char* name;
    std::string text;
    std::vector<std::string> signals;
    bool (*native)(const BenchSignals& signals);
};

constexpr std::size_t terms = 20;

std::vector<Condition> conditions() {
    std::string conjunction;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < terms; ++i) {
        names.push_back("s" + std::to_string(i));
        conjunction += (i == 0 ? "" : " && ") + names.back() + " > " + std::to_string(i);
    }
    return {{"speed_and_door",
             "speed > 50 && door == 1",
             {"speed", "door"},
             [](const BenchSignals& signals) {
                 const double speed = signals.read(0);
                 const double door = signals.read(1);
                 return speed > 50 && door == 1;
             }},
            {"arithmetic",
             "(a + b) * 2 - c / 4 > 10 || d < 3 && e != 0",
             {"a", "b", "c", "d", "e"},
             [](const BenchSignals& signals) {
                 const double a = signals.read(0);
                 const double b = signals.read(1);
                 const double c = signals.read(2);
                 const double d = signals.read(3);
                 const double e = signals.read(4);
                 return ((a + b) * 2 - c / 4 > 10 || d < 3) && e != 0;
             }},
            {"conjunction", conjunction, names, [](const BenchSignals& signals) {
                 bool all = true;
                 for (std::size_t i = 0; i < terms; ++i) {
                     all &= signals.read(i) > static_cast<double>(i);
                 }
                 return all;
             }}};
}

void evaluateByLibrary(benchmark::State& state, const Condition& condition, bool shared) {
    BenchSignals signals(condition.signals, shared);
    ExpParser expression(condition.text.c_str(), false, &signals.storage);
    bool result = false;
    for (auto _ : state) {
        benchmark::DoNotOptimize(expression.getExpResult(result));
        benchmark::DoNotOptimize(result);
    }
}

void evaluateNatively(benchmark::State& state, const Condition& condition, bool shared) {
    const BenchSignals signals(condition.signals, shared);
    for (auto _ : state) {
        benchmark::DoNotOptimize(condition.native(signals));
    }
}

mu::Parser muParser(const Condition& condition, std::vector<double>& variables) {
    mu::Parser parser;
    for (std::size_t i = 0; i < variables.size(); ++i) {
        parser.DefineVar(condition.signals[i], &variables[i]);
    }
    parser.SetExpr(condition.text);
    return parser;
}

void evaluateByMuParser(benchmark::State& state, const Condition& condition, bool shared) {
    const BenchSignals signals(condition.signals, shared);
    std::vector<double> variables(condition.signals.size());
    const mu::Parser parser = muParser(condition, variables);
    for (auto _ : state) {
        signals.readAll(variables);
        benchmark::DoNotOptimize(parser.Eval() != 0);
    }
}

constexpr std::size_t many = 2000;

/// As speed_and_door, each of `many` on two signals of its own, of which the second is rarely asked for.
Condition oneOfMany(std::size_t number) {
    const std::string speed = "s" + std::to_string(2 * number);
    const std::string door = "s" + std::to_string(2 * number + 1);
    return {"many",
            speed + " > " + std::to_string(number % 1000) + " && " + door + " == 1",
            {speed, door},
            nullptr};
}

std::vector<std::string> signalsOfMany() {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < 2 * many; ++i) {
        names.push_back("s" + std::to_string(i));
    }
    return names;
}

void evaluateManyByLibrary(benchmark::State& state) {
    BenchSignals signals(signalsOfMany(), false);
    std::vector<std::unique_ptr<ExpParser>> conditions;
    for (std::size_t i = 0; i < many; ++i) {
        conditions.push_back(std::make_unique<ExpParser>(oneOfMany(i).text.c_str(), false, &signals.storage));
    }
    bool result = false;
    for (auto _ : state) {
        for (const auto& condition : conditions) {
            benchmark::DoNotOptimize(condition->getExpResult(result));
            benchmark::DoNotOptimize(result);
        }
    }
}

#ifdef BENCH_EXPRTK
void evaluateByExprTk(benchmark::State& state, const Condition& condition, bool shared) {
    const BenchSignals signals(condition.signals, shared);
    std::vector<double> variables(condition.signals.size());
    const ExprTkCondition compiled(condition.text, condition.signals, variables);
    for (auto _ : state) {
        signals.readAll(variables);
        benchmark::DoNotOptimize(compiled.value() != 0);
    }
}

void evaluateManyByExprTk(benchmark::State& state) {
    const BenchSignals signals(signalsOfMany(), false);
    std::vector<std::vector<double>> variables(many, std::vector<double>(2));
    std::vector<ExprTkCondition> conditions;
    for (std::size_t i = 0; i < many; ++i) {
        const Condition condition = oneOfMany(i);
        conditions.emplace_back(condition.text, condition.signals, variables[i]);
    }
    for (auto _ : state) {
        for (std::size_t i = 0; i < many; ++i) {
            variables[i][0] = signals.read(2 * i);
            variables[i][1] = signals.read(2 * i + 1);
            benchmark::DoNotOptimize(conditions[i].value() != 0);
        }
    }
}

void compileByExprTk(benchmark::State& state, const Condition& condition) {
    std::vector<double> variables(condition.signals.size(), 1.0);
    for (auto _ : state) {
        const ExprTkCondition compiled(condition.text, condition.signals, variables);
        benchmark::DoNotOptimize(compiled.value());
    }
}
#endif

/// What compiled conditions keep on the heap, each.
std::size_t bytesOfCondition(const Condition& condition, SignalStorage& storage) {
    constexpr std::size_t count = 1000;
    std::vector<std::unique_ptr<ExpParser>> compiled(count);
    const std::size_t before = mallinfo2().uordblks;
    for (auto& expression : compiled) {
        expression = std::make_unique<ExpParser>(condition.text.c_str(), false, &storage);
    }
    return (mallinfo2().uordblks - before) / count;
}

void compileByLibrary(benchmark::State& state, const Condition& condition) {
    BenchSignals signals(condition.signals, false);
    state.counters["bytes"] = static_cast<double>(bytesOfCondition(condition, signals.storage));
    for (auto _ : state) {
        const ExpParser expression(condition.text.c_str(), false, &signals.storage);
        benchmark::DoNotOptimize(expression.stackBase);
    }
}

/// It compiles at the first evaluation.
void compileByMuParser(benchmark::State& state, const Condition& condition) {
    std::vector<double> variables(condition.signals.size(), 1.0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(muParser(condition, variables).Eval());
    }
}

template <class Run>
void add(const std::string& name, Run run) {
    benchmark::RegisterBenchmark(name.c_str(), run);
}

void registerAll(const Condition& condition) {
    using benchmark::State;
    for (const bool shared : {false, true}) {
        const std::string suffix = (shared ? "/shared/" : "/private/") + std::string(condition.name);
        add("ExpEvaluate" + suffix, [=](State& state) { evaluateByLibrary(state, condition, shared); });
        add("ExpEvaluate_muParser" + suffix,
            [=](State& state) { evaluateByMuParser(state, condition, shared); });
        add("ExpEvaluate_native" + suffix, [=](State& state) { evaluateNatively(state, condition, shared); });
#ifdef BENCH_EXPRTK
        add("ExpEvaluate_ExprTk" + suffix, [=](State& state) { evaluateByExprTk(state, condition, shared); });
#endif
    }
    const std::string suffix = "/" + std::string(condition.name);
    add("ExpCompile" + suffix, [=](State& state) { compileByLibrary(state, condition); });
    add("ExpCompile_muParser" + suffix, [=](State& state) { compileByMuParser(state, condition); });
#ifdef BENCH_EXPRTK
    add("ExpCompile_ExprTk" + suffix, [=](State& state) { compileByExprTk(state, condition); });
#endif
}

} // namespace

int main(int argc, char** argv) {
    for (const Condition& condition : conditions()) {
        registerAll(condition);
    }
    add("ExpEvaluateMany/private/2000_conditions", evaluateManyByLibrary);
#ifdef BENCH_EXPRTK
    add("ExpEvaluateMany_ExprTk/private/2000_conditions", evaluateManyByExprTk);
#endif
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
