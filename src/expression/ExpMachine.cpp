#include "expression/ExpMachine.h"

#include "expression/Operations.h"

#include <algorithm>

template <ExpMachine::Source source>
double ExpMachine::operand(const Instruction& instruction, const double* place) {
    if constexpr (source == Source::Stack) {
        return place[1];
    } else if constexpr (source == Source::Constant) {
        return instruction.operand.constant;
    } else {
        double value = 0.0;
        unsigned long timestamp = 0;
        return instruction.operand.signal->read(value, timestamp) ? value : operation::unknown;
    }
}

template <ExpMachine::Source source>
void ExpMachine::load(const Instruction& instruction, double* place) {
    *place = operand<source>(instruction, place);
}

template <auto function>
void ExpMachine::unary(const Instruction&, double* place) {
    *place = function(operation::unknown, *place);
}

template <auto function, ExpMachine::Source source>
void ExpMachine::binary(const Instruction& instruction, double* place) {
    *place = function(*place, operand<source>(instruction, place));
}

/// What carries out an operation.
struct ExpMachine::OperationHandlers {
    ExpParser::Operation operation;
    Handler unary; ///< null for a binary operation
    BinaryHandlers binary;
};

const ExpMachine::OperationHandlers* ExpMachine::handlersOf(ExpParser::Operation operation) {
#define EXP_UNARY(name, result) OperationHandlers{&ExpParser::name, unary<operation::name>, {}},
#define EXP_BINARY(name, result)                                                                             \
    OperationHandlers{&ExpParser::name,                                                                      \
                      nullptr,                                                                               \
                      {binary<operation::name, Source::Stack>, binary<operation::name, Source::Constant>,    \
                       binary<operation::name, Source::Signal>}},
    static constexpr std::array table{EXP_UNARY_OPERATIONS(EXP_UNARY) EXP_BINARY_OPERATIONS(EXP_BINARY)};
#undef EXP_UNARY
#undef EXP_BINARY
    const auto* const entry =
        std::find_if(table.begin(), table.end(),
                     [&](const OperationHandlers& handlers) { return handlers.operation == operation; });
    return entry != table.end() ? entry : nullptr;
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
        instructions.push_back({load<Source::Constant>, depth++, {.constant = step.second.constant}});
        return true;
    }
    if (step.first == &ExpParser::opsignal) {
        instructions.push_back({load<Source::Signal>, depth++, {.signal = step.second.signal}});
        return true;
    }
    const OperationHandlers* const handlers = handlersOf(step.first);
    if (handlers == nullptr || depth < (handlers->unary != nullptr ? 1 : 2)) {
        return false;
    }
    if (handlers->unary != nullptr) {
        instructions.push_back({handlers->unary, depth - 1, {}});
    } else {
        addBinary(handlers->binary);
    }
    return true;
}

/// Where the right operand has just been loaded, the operation takes it from there.
void ExpMachine::addBinary(const BinaryHandlers& handlers) {
    --depth;
    Instruction& last = instructions.back();
    const bool isConstant = last.handler == load<Source::Constant>;
    if (isConstant || last.handler == load<Source::Signal>) {
        last.handler = handlers[static_cast<std::size_t>(isConstant ? Source::Constant : Source::Signal)];
        last.place = depth - 1;
    } else {
        instructions.push_back({handlers[static_cast<std::size_t>(Source::Stack)], depth - 1, {}});
    }
}

double ExpMachine::run(double* stack) const {
    for (const Instruction& instruction : instructions) {
        instruction.handler(instruction, stack + instruction.place);
    }
    return *stack;
}
