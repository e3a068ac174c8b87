/// \file
/// Runs the program of an expression fast.
#pragma once

#include "expression/ExpParser.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// A program in the form in which it runs: fewer instructions than steps.
///
/// The top of the stack is handed from one instruction to the next. Programs have no jumps, so the place of
/// every value below it is known beforehand. Operands that are constants or signals go straight into the
/// operation; so does a comparison of a signal into the `||` or `&&` behind it. What leaves the top as it is
/// takes no instruction. If the classes of all signals read as `BaseSignal` does, they are read directly.
class ExpMachine {
  public:
    /// Takes over a program that leaves one value on the stack. Any other leaves the machine without one.
    void compile(const ExpProgram& program);
    void clear() { instructions.clear(); }

    /// Whether it can run `program`, which has not grown, shrunk or moved since it was compiled. While there
    /// are debug lines, signals are not read directly.
    bool runs(const ExpProgram& program) const {
        return !instructions.empty() && program.isAsAppended() && (!isDirect || BaseSignal::debug == 0);
    }

    /// Runs the program. `stack` has an element for each of its constants and signals.
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
    /// Takes the top of the stack and what lies below it. \return the new top
    using Handler = double (*)(const Instruction& instruction, double top, double* stack);
    struct Instruction {
        Handler handler;
        Operand left; ///< the only operand of a load
        Operand right;
        std::uint32_t place; ///< on the stack: of the left operand, or where the top goes to make room
    };
    struct OperationHandlers;
    struct JointHandlers;
    /// Of signals that are read directly, or through their virtual interface.
    template <bool direct>
    struct Handlers;

    template <bool direct>
    bool addAll(const ExpProgram& program);
    template <bool direct>
    bool add(const ExpProgram::PackedStep& step);
    template <bool direct>
    void addBinary(const OperationHandlers& handlers);
    template <bool direct>
    bool addJoint(const OperationHandlers& handlers);
    template <bool direct>
    Source takeLoad(Operand& operand);

    std::vector<Instruction> instructions;
    std::uint32_t depth = 0;   ///< of the stack behind the instructions
    std::uint32_t highest = 0; ///< place that instructions use
    bool isDirect = false;
};
