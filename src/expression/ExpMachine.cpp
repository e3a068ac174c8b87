#include "expression/ExpMachine.h"

#include "expression/Operations.h"

#include <algorithm>

/// An operand on the stack lies at `place`.
template <ExpMachine::Source source>
double ExpMachine::fetch(Operand operand, const double* place) {
    if constexpr (source == Source::Stack) {
        return *place;
    } else if constexpr (source == Source::Constant) {
        return operand.constant;
    } else {
        double value = 0.0;
        unsigned long timestamp = 0;
        return operand.signal->read(value, timestamp) ? value : operation::unknown;
    }
}

template <ExpMachine::Source source>
void ExpMachine::load(const Instruction& instruction, double* place) {
    *place = fetch<source>(instruction.left, place);
}

template <auto function>
void ExpMachine::unary(const Instruction&, double* place) {
    *place = function(operation::unknown, *place);
}

template <auto function, ExpMachine::Source left, ExpMachine::Source right>
void ExpMachine::binary(const Instruction& instruction, double* place) {
    const double a = fetch<left>(instruction.left, place);
    const double b = fetch<right>(instruction.right, place + 1);
    *place = function(a, b);
}

/// What carries out an operation.
struct ExpMachine::OperationHandlers {
    ExpParser::Operation operation;
    Handler unary;        ///< null for a binary operation
    Handler binary[2][3]; ///< by the sources of the operands: the left one is on the stack, or a signal
};

const ExpMachine::OperationHandlers* ExpMachine::handlersOf(ExpParser::Operation operation) {
    using enum Source;
#define EXP_UNARY(name, result) OperationHandlers{&ExpParser::name, unary<operation::name>, {}},
#define EXP_BINARY(name, result)                                                                             \
    OperationHandlers{                                                                                       \
        &ExpParser::name,                                                                                    \
        nullptr,                                                                                             \
        {{binary<operation::name, Stack, Stack>, binary<operation::name, Stack, Constant>,                   \
          binary<operation::name, Stack, Signal>},                                                           \
         {nullptr, binary<operation::name, Signal, Constant>, binary<operation::name, Signal, Signal>}}},
    static constexpr OperationHandlers table[] = {EXP_UNARY_OPERATIONS(EXP_UNARY)
                                                      EXP_BINARY_OPERATIONS(EXP_BINARY)};
#undef EXP_UNARY
#undef EXP_BINARY
    const auto* const entry =
        std::find_if(std::begin(table), std::end(table),
                     [&](const OperationHandlers& handlers) { return handlers.operation == operation; });
    return entry != std::end(table) ? entry : nullptr;
}

void ExpMachine::compile(const std::vector<ExpParser::Step>& program) {
    instructions.clear();
    depth = 0;
    steps = program.data();
    stepCount = program.size();
    if (!std::all_of(program.begin(), program.end(), [this](const auto& step) { return add(step); }) ||
        depth != 1) {
        instructions.clear();
    }
}

/// \return whether the step can be carried out with what is on the stack
bool ExpMachine::add(const ExpParser::Step& step) {
    if (step.first == &ExpParser::opdouble) {
        instructions.push_back({load<Source::Constant>, {.constant = step.second.constant}, {}, depth++});
        return true;
    }
    if (step.first == &ExpParser::opsignal) {
        instructions.push_back({load<Source::Signal>, {.signal = step.second.signal}, {}, depth++});
        return true;
    }
    const OperationHandlers* const handlers = handlersOf(step.first);
    if (handlers == nullptr || depth < (handlers->unary != nullptr ? 1 : 2)) {
        return false;
    }
    if (handlers->unary != nullptr) {
        instructions.push_back({handlers->unary, {}, {}, depth - 1});
    } else {
        addBinary(*handlers);
    }
    return true;
}

/// Operands that have just been loaded are taken from where they come from. The left one can only be if the
/// right one is, since it was loaded before.
void ExpMachine::addBinary(const OperationHandlers& handlers) {
    --depth;
    Instruction operation{nullptr, {}, {}, depth - 1};
    const Source right = takeLoad(operation.right);
    const bool leftIsSignal = right != Source::Stack && !instructions.empty() &&
                              instructions.back().handler == load<Source::Signal> &&
                              takeLoad(operation.left) == Source::Signal;
    operation.handler = handlers.binary[leftIsSignal ? 1 : 0][static_cast<std::size_t>(right)];
    instructions.push_back(operation);
}

/// Takes away the last instruction if it is a load. \return where its operand comes from; else the stack
ExpMachine::Source ExpMachine::takeLoad(Operand& operand) {
    const Handler last = instructions.back().handler;
    if (last != load<Source::Constant> && last != load<Source::Signal>) {
        return Source::Stack;
    }
    operand = instructions.back().left;
    instructions.pop_back();
    return last == load<Source::Signal> ? Source::Signal : Source::Constant;
}

double ExpMachine::run(double* stack) const {
    for (const Instruction& instruction : instructions) {
        instruction.handler(instruction, stack + instruction.place);
    }
    return *stack;
}
