/// \file
/// Runs the program of an expression fast.
#pragma once

#include "expression/ExpParser.h"

#include <cstdint>
#include <vector>

/// A program in the form in which it runs. Programs have no jumps, so the place of every value on the stack
/// is known beforehand, and a right operand that is a constant or a signal never needs to go there; nor does
/// a left operand that is a signal.
class ExpMachine {
  public:
    /// Takes over a program that leaves one value on the stack. Any other leaves the machine without one.
    void compile(const std::vector<ExpParser::Step>& program);
    void clear() { instructions.clear(); }

    /// Whether it can run `program`, which has not grown, shrunk or moved since it was compiled.
    bool runs(const std::vector<ExpParser::Step>& program) const {
        return !instructions.empty() && program.data() == steps && program.size() == stepCount;
    }

    /// Runs the program. `stack` holds an element for each of its constants and signals.
    /// \return the result
    double run(double* stack) const;

  private:
    /// Where an operand comes from: the stack, the instruction's constant, or a signal that is read.
    enum class Source : std::uint8_t { Stack, Constant, Signal };
    union Operand {
        double constant;
        BaseSignal* signal;
    };
    struct Instruction;
    /// Puts a result in `place`; what it takes from the stack begins there.
    using Handler = void (*)(const Instruction& instruction, double* place);
    struct Instruction {
        Handler handler;
        Operand left; ///< the only operand of a load
        Operand right;
        std::uint32_t place; ///< index on the stack
    };
    struct OperationHandlers;

    static const OperationHandlers* handlersOf(ExpParser::Operation operation);
    template <Source source>
    static double fetch(Operand operand, const double* place);
    template <Source source>
    static void load(const Instruction& instruction, double* place);
    template <auto function>
    static void unary(const Instruction& instruction, double* place);
    template <auto function, Source left, Source right>
    static void binary(const Instruction& instruction, double* place);

    bool add(const ExpParser::Step& step);
    void addBinary(const OperationHandlers& handlers);
    Source takeLoad(Operand& operand);

    std::vector<Instruction> instructions;
    std::uint32_t depth = 0;                ///< of the stack behind the instructions
    const ExpParser::Step* steps = nullptr; ///< of the program that was compiled
    std::size_t stepCount = 0;
};
