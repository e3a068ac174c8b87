/// \file
/// The sub-expressions of a compiled condition, each with its text.
///
/// The library keeps an expression as steps in postfix order. Each step ends one sub-expression, so a
/// sub-expression is named by the index of its step, and its operands stand before it.
#pragma once

#include "expression/ExpParser.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace rksignal {

enum class Operator : std::uint8_t {
    Constant,
    Signal,
    Plus,
    Minus,
    Multiply,
    Divide,
    Modulo,
    Less,
    Greater,
    LessEqual,
    GreaterEqual,
    Equal,        ///< of numbers
    NotEqual,     ///< of numbers
    BoolEqual,    ///< of conditions
    BoolNotEqual, ///< of conditions
    Or,
    And,
    Negate,
    Truth, ///< a number taken as a condition; has no text of its own
    Not,
};

/// Whether the operator yields true or false.
bool isLogical(Operator kind);
/// Whether the operator is one of the six comparisons, of numbers or of conditions.
bool isComparison(Operator kind);

/// One sub-expression.
struct ExpressionNode {
    Operator kind = Operator::Constant;
    std::size_t first = 0;        ///< index of the first node of its own and its operands' nodes
    std::size_t left = 0;         ///< operand of a unary operator, left one of a binary one; else unused
    std::size_t right = 0;        ///< right operand of a binary operator; else unused
    double constant = 0;          ///< of a constant
    BaseSignal* signal = nullptr; ///< of a signal
    std::string missing;          ///< of a constant: the name that no signal has, which counts as 0
};

/// All sub-expressions of one expression. They refer to its signals.
class ExpressionTree {
  public:
    /// REQUIRES: `parser.isUsable()`
    explicit ExpressionTree(const ExpParser& parser);

    /// In postfix order; never empty.
    const std::vector<ExpressionNode>& nodes() const { return allNodes; }
    const ExpressionNode& operator[](std::size_t node) const { return allNodes[node]; }
    std::size_t root() const { return allNodes.size() - 1; } ///< the whole expression

    /// Whether the sub-expression reads no signal, not even one that is missing.
    bool isConstant(std::size_t node) const;

    /// The sub-expression, with as few parentheses as it needs to be read back as the same, and those of an
    /// `||` before an `&&`, which bind equally but do not everywhere. Keyword constants are their numbers,
    /// a number too large for a double is `inf`.
    std::string text(std::size_t node) const;

  private:
    std::vector<ExpressionNode> allNodes;
};

} // namespace rksignal
