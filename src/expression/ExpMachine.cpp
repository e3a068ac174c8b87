#include "expression/ExpMachine.h"

#include "expression/DirectRead.h"
#include "expression/ExpProgramReader.h"
#include "expression/Operations.h"

#include <algorithm>
#include <array>

/// What carries out an operation.
struct ExpMachine::OperationHandlers {
    ExpParser::Operation operation;
    Handler unary;        ///< null for a binary operation
    Handler binary[2][3]; ///< by the sources of the operands: the left one is on the stack, or a signal
};

/// What carries out a comparison of a signal, alone and together with the operation behind it.
struct ExpMachine::JointHandlers {
    Handler alone;
    Handler withOr;
    Handler withAnd;
};

template <bool direct>
struct ExpMachine::Handlers {
    template <Source source>
    static double fetch(Operand operand) {
        if constexpr (source == Source::Constant) {
            return operand.constant;
        } else if constexpr (direct) {
            return directread::read(*operand.signal);
        } else {
            double value = 0.0;
            unsigned long timestamp = 0;
            return operand.signal->read(value, timestamp) ? value : operation::unknown;
        }
    }

    template <Source source>
    static double load(const Instruction& instruction, double top, double* stack) {
        stack[instruction.place] = top;
        return fetch<source>(instruction.left);
    }

    template <auto function>
    static double unary(const Instruction&, double top, double*) {
        return function(operation::unknown, top);
    }

    template <auto function, Source left, Source right>
    static double binary(const Instruction& instruction, double top, double* stack) {
        if constexpr (left == Source::Signal) {
            stack[instruction.place] = top;
            const double a = fetch<Source::Signal>(instruction.left);
            return function(a, fetch<right>(instruction.right));
        } else if constexpr (right != Source::Stack) {
            return function(top, fetch<right>(instruction.right));
        } else {
            return function(stack[instruction.place], top);
        }
    }

    /// A comparison whose result goes straight into `logic`, the operation behind it.
    template <auto logic, auto comparison, Source right>
    static double joint(const Instruction& instruction, double top, double*) {
        const double a = fetch<Source::Signal>(instruction.left);
        return logic(top, comparison(a, fetch<right>(instruction.right)));
    }

    static const OperationHandlers* of(ExpParser::Operation operation);
    static const JointHandlers* jointsOf(Handler comparison);
};

template <bool direct>
const ExpMachine::OperationHandlers* ExpMachine::Handlers<direct>::of(ExpParser::Operation operation) {
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

/// \return null if it is no comparison of a signal with a constant or a signal
template <bool direct>
const ExpMachine::JointHandlers* ExpMachine::Handlers<direct>::jointsOf(Handler comparison) {
    using enum Source;
    using namespace operation;
#define EXP_JOINTS(name, result)                                                                             \
    JointHandlers{binary<name, Signal, Constant>, joint<oplor, name, Constant>,                              \
                  joint<opland, name, Constant>},                                                            \
        JointHandlers{binary<name, Signal, Signal>, joint<oplor, name, Signal>,                              \
                      joint<opland, name, Signal>},
    static constexpr JointHandlers table[] = {EXP_COMPARISON_OPERATIONS(EXP_JOINTS)};
#undef EXP_JOINTS
    const auto* const entry =
        std::find_if(std::begin(table), std::end(table),
                     [&](const JointHandlers& handlers) { return handlers.alone == comparison; });
    return entry != std::end(table) ? entry : nullptr;
}

void ExpMachine::compile(const ExpProgram& program) {
    isDirect = true;
    program.forEach([&](const ExpProgram::PackedStep& step) {
        isDirect = isDirect && (step.signal == nullptr || directread::readsAsBase(*step.signal));
    });
    instructions.clear();
    instructions.reserve(program.size());
    depth = highest = 0;
    const bool isWhole = isDirect ? addAll<true>(program) : addAll<false>(program);
    if (!isWhole || depth != 1) {
        instructions.clear();
    }
    instructions.shrink_to_fit();
}

template <bool direct>
bool ExpMachine::addAll(const ExpProgram& program) {
    bool isWhole = true;
    program.forEach([&](const ExpProgram::PackedStep& step) { isWhole = isWhole && add<direct>(step); });
    return isWhole;
}

/// \return whether the step can be carried out with what is on the stack
template <bool direct>
bool ExpMachine::add(const ExpProgram::PackedStep& step) {
    using With = Handlers<direct>;
    const bool isSignal = step.operation == &ExpParser::opsignal;
    if (isSignal || step.operation == &ExpParser::opdouble) {
        const std::uint32_t placeOfTop = depth == 0 ? 0 : depth - 1; // there is none at first, any will do
        Instruction load{With::template load<Source::Constant>, {step.constant}, {}, placeOfTop};
        if (isSignal) {
            load.handler = With::template load<Source::Signal>;
            load.left.signal = step.signal;
        }
        instructions.push_back(load);
        highest = std::max(highest, depth++);
        return true;
    }
    const OperationHandlers* const handlers = With::of(step.operation);
    if (handlers == nullptr || depth < (handlers->unary != nullptr ? 1 : 2)) {
        return false;
    }
    if (handlers->unary == nullptr) {
        addBinary<direct>(*handlers);
    } else if (handlers->operation != &ExpParser::opnz) { // which leaves the value as it is
        instructions.push_back({handlers->unary, {}, {}, 0});
    }
    return true;
}

/// Operands that have just been loaded are taken from where they come from. The left one can only be if the
/// right one is, since it was loaded before.
template <bool direct>
void ExpMachine::addBinary(const OperationHandlers& handlers) {
    --depth;
    if (addJoint<direct>(handlers)) {
        return;
    }
    Instruction operation{nullptr, {}, {}, depth - 1};
    const Source right = takeLoad<direct>(operation.right);
    const bool leftIsSignal = right != Source::Stack && !instructions.empty() &&
                              instructions.back().handler == Handlers<direct>::template load<Source::Signal>;
    if (leftIsSignal) {
        operation.place = instructions.back().place;
        takeLoad<direct>(operation.left);
    }
    operation.handler = handlers.binary[leftIsSignal ? 1 : 0][static_cast<std::size_t>(right)];
    instructions.push_back(operation);
}

/// Lets the last instruction, if it compares a signal, do this operation too. \return whether it does
template <bool direct>
bool ExpMachine::addJoint(const OperationHandlers& handlers) {
    const bool isOr = handlers.operation == &ExpParser::oplor;
    if (!isOr && handlers.operation != &ExpParser::opland) {
        return false;
    }
    const JointHandlers* const joints = Handlers<direct>::jointsOf(instructions.back().handler);
    if (joints == nullptr) {
        return false;
    }
    instructions.back().handler = isOr ? joints->withOr : joints->withAnd;
    return true;
}

/// Takes away the last instruction if it is a load. \return where its operand comes from; else the stack
template <bool direct>
ExpMachine::Source ExpMachine::takeLoad(Operand& operand) {
    const Handler last = instructions.back().handler;
    const bool isSignal = last == Handlers<direct>::template load<Source::Signal>;
    if (!isSignal && last != Handlers<direct>::template load<Source::Constant>) {
        return Source::Stack;
    }
    operand = instructions.back().left;
    instructions.pop_back();
    return isSignal ? Source::Signal : Source::Constant;
}

double ExpMachine::run(double* stack) const {
    std::array<double, 16> nearby; // in the cache, unlike the stack of an expression that seldom runs
    double* const places = highest < nearby.size() ? nearby.data() : stack;
    double top = 0.0;
    for (const Instruction& instruction : instructions) {
        top = instruction.handler(instruction, top, places);
    }
    return top;
}
