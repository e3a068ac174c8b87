#include "expression/ExpParser.h"

#include "expression/ExpLexer.h"
#include "expression/ExpMachine.h"
#include "expression/ExpProgramReader.h"
#include "expression/Operations.h"
#include "signal/Diagnostics.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <utility>

std::set<ExpParser*> ExpParser::allExpParsers;
int ExpParser::debug = 0;

namespace {

std::mutex allExpParsersMutex;

template <class... Items>
void writeLine(LogLevel level, const Items&... items) {
    LogLine line(level, level == LogLevel::Error ? std::cerr : std::cout);
    (line.out() << ... << items) << '\n';
}

} // namespace

ExpParser::ExpParser(const char* text, bool reportsEdge, SignalStorage* registry)
    : ExpParser(text, reportsEdge, registry, ExpErrors::Print) {}

ExpParser::ExpParser(const char* text, bool reportsEdge, SignalStorage* registry, ExpErrors whatToDo)
    : lexer(spentLexer()), expression(text), edgeTrigger(reportsEdge), storage(registry),
      machine(std::make_unique<ExpMachine>()), printsErrors(whatToDo == ExpErrors::Print) {
    usable = parse();
    program.complete();
    if (usable) {
        machine->compile(program);
        const std::lock_guard guard(allExpParsersMutex);
        allExpParsers.insert(this);
    }
}

ExpParser::~ExpParser() {
    {
        const std::lock_guard guard(allExpParsersMutex);
        allExpParsers.erase(this);
    }
    delete[] stackBase;
}

void ExpParser::clear() {
    while (!allExpParsers.empty()) {
        delete *allExpParsers.begin();
    }
}

/// The scanner lives no longer than this, and the stack is allocated once, when its size is known.
bool ExpParser::parse() {
    const std::string text = expression + '\n';
    ExpLexer textScanner(text);
    scanner = &textScanner;
    lexer = {std::shared_ptr<void>(), scanner};
    if (debug > 1) {
        lexer->set_debug(1);
        expdebug = 1;
    }
    if (debug != 0) {
        writeLine(LogLevel::Debug, "parsing ", text);
    }
    const bool isExpression = expparse(this) == 0;
    lastLine = line();
    lexer = spentLexer();
    scanner = nullptr;
    if (stackCapacity != 0) {
        allocateStack(stackCapacity);
    }
    if (!isExpression && printsErrors) {
        writeLine(LogLevel::Error, "parser error in ExpParser: ", text);
    }
    if (isExpression && debug != 0) {
        writeLine(LogLevel::Debug, "parsed");
    }
    return isExpression;
}

int ExpParser::line() const {
    return scanner != nullptr ? scanner->lineno() : lastLine;
}

void ExpParser::report(ExpError error) {
    error.step = program.size();
    if (printsErrors) {
        writeLine(LogLevel::Error, error);
    }
    foundErrors.push_back(std::move(error));
}

void ExpParser::add(const Step& step) {
    program.append(step);
    machine->clear();
}

void ExpParser::add(Operation operation) {
    add(Step(operation, {}));
}

void ExpParser::add(double value) {
    Step step(&ExpParser::opdouble, {});
    step.second.constant = value;
    add(step);
    growStack();
}

void ExpParser::add(const std::string& name) {
    BaseSignal* const signal = BaseSignal::getInstance(name, storage);
    if (signal == nullptr) {
        report({.kind = ExpError::Kind::UnknownSignal,
                .message = "Signal not found",
                .line = line(),
                .excerpt = {},
                .name = name});
        add(0.0);
        return;
    }
    Step step(&ExpParser::opsignal, {});
    step.second.signal = signal;
    step.second.name = name;
    add(step);
    signalIds.insert(signal->id);
    signals.insert(signal);
    growStack();
}

/// Makes room for as many values as there are steps, unless the program is being parsed. If that takes an
/// allocation, the room is at least doubled, so that a program built by hand takes linear time. Only steps
/// that push a value call it, and none is pushed while the program is built, so the stack neither overflows
/// nor has anything to carry over.
void ExpParser::growStack() {
    stackCapacity = std::max<std::uint64_t>(stackCapacity, program.size());
    if (scanner == nullptr && stackCapacity > stackRoom) {
        allocateStack(std::max(stackCapacity, 2 * stackRoom));
    }
}

void ExpParser::allocateStack(std::uint64_t room) {
    auto* const larger = new double[room + 1];
    stackTop = larger + (stackTop - stackBase);
    delete[] std::exchange(stackBase, larger);
    stackRoom = room;
}

void ExpParser::clearstack() {
    stackTop = stackBase;
}

bool ExpParser::getExpResult(bool& result) {
    result = false;
    clearstack();
    double value = 0.0;
    if (machine->runs(program)) {
        value = machine->run(stackBase + 1);
    } else if (!runSteps(value)) {
        return false;
    }
    if (operation::isUnknown(value)) {
        return false;
    }
    result = value != 0;
    return true;
}

/// Runs the program as it stands, step by step: one that was built by hand.
bool ExpParser::runSteps(double& value) {
    for (pc = program.begin(); pc != program.end(); ++pc) {
        (this->*pc->first)();
    }
    if (const auto depth = stackTop - stackBase; depth != 1) {
        writeLine(LogLevel::Error, "stack size wrong at end of program: ", depth);
        return false;
    }
    value = *stackTop;
    return true;
}

bool ExpParser::getTrigger() {
    bool result = false;
    if (!getExpResult(result)) {
        return false;
    }
    if (!edgeTrigger) {
        return result;
    }
    if (result == lastResult) {
        return false;
    }
    lastResult = result;
    return result;
}

unsigned long ExpParser::getLastestTime() const {
    unsigned long latest = 0;
    program.forEach([&latest](const auto& step) {
        if (step.signal != nullptr) {
            unsigned long raw = 0;
            unsigned long timestamp = 0;
            step.signal->read(raw, timestamp);
            latest = std::max(latest, timestamp);
        }
    });
    return latest;
}

void ExpParser::require(std::ptrdiff_t count) const {
    const auto depth = stackTop - stackBase;
    if (depth < count) {
        {
            LogLine line(LogLevel::Error, std::cerr, LogLine::Tag::None);
            line.out() << "Less than " << count << " elements on bool stack (" << depth << ")\n";
        }
        std::exit(4);
    }
}

void ExpParser::opdouble() {
    *++stackTop = pc->second.constant;
}

void ExpParser::opsignal() {
    double value = 0.0;
    unsigned long timestamp = 0;
    const bool isValid = pc->second.signal->read(value, timestamp);
    *++stackTop = isValid ? value : operation::unknown;
}

template <auto function>
void ExpParser::unary() {
    require(1);
    *stackTop = function(operation::unknown, *stackTop);
}

template <auto function>
void ExpParser::binary() {
    require(2);
    --stackTop;
    *stackTop = function(stackTop[0], stackTop[1]);
}

#define EXP_UNARY(name, result)                                                                              \
    void ExpParser::name() {                                                                                 \
        unary<operation::name>();                                                                            \
    }
#define EXP_BINARY(name, result)                                                                             \
    void ExpParser::name() {                                                                                 \
        binary<operation::name>();                                                                           \
    }
EXP_UNARY_OPERATIONS(EXP_UNARY)
EXP_BINARY_OPERATIONS(EXP_BINARY)
#undef EXP_UNARY
#undef EXP_BINARY

namespace {

const char* nameOf(ExpParser::Operation operation) {
    struct Name {
        ExpParser::Operation operation;
        const char* text;
    };
#define EXP_NAME(name, result) Name{&ExpParser::name, #name},
    static constexpr std::array names{Name{&ExpParser::opdouble, "opdouble"},
                                      Name{&ExpParser::opsignal, "opsignal"},
                                      EXP_UNARY_OPERATIONS(EXP_NAME) EXP_BINARY_OPERATIONS(EXP_NAME)};
#undef EXP_NAME
    const auto* const entry = std::find_if(names.begin(), names.end(),
                                           [&](const Name& name) { return name.operation == operation; });
    return entry != names.end() ? entry->text : "?";
}

/// With the fewest digits that read back as the same number.
std::string shortest(double value) {
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return {digits.data(), end};
}

} // namespace

void ExpParser::dump(std::ostream& out) const {
    std::size_t number = 0;
    program.forEach([&](const auto& step) {
        out << std::to_string(number++) << ' ' << nameOf(step.operation);
        if (step.operation == &ExpParser::opdouble) {
            out << ' ' << shortest(step.constant);
        } else if (!step.name.empty()) {
            out << ' ' << step.name;
        }
        out << '\n';
    });
}
