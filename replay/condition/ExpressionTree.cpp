#include "condition/ExpressionTree.h"

#include "text/NumberText.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace rksignal {
namespace {

struct OperatorTraits {
    Operator kind;
    ExpParser::Operation operation;
    unsigned operands;
    unsigned level; ///< the higher, the tighter it binds
    const char* symbol;
};

constexpr unsigned leafLevel = 8;

/// By `Operator`.
constexpr std::array operators{
    OperatorTraits{Operator::Constant, &ExpParser::opdouble, 0, leafLevel, ""},
    OperatorTraits{Operator::Signal, &ExpParser::opsignal, 0, leafLevel, ""},
    OperatorTraits{Operator::Plus, &ExpParser::opplus, 2, 5, " + "},
    OperatorTraits{Operator::Minus, &ExpParser::opminus, 2, 5, " - "},
    OperatorTraits{Operator::Multiply, &ExpParser::opmult, 2, 6, " * "},
    OperatorTraits{Operator::Divide, &ExpParser::opdiv, 2, 6, " / "},
    OperatorTraits{Operator::Modulo, &ExpParser::opmod, 2, 6, " % "},
    OperatorTraits{Operator::Less, &ExpParser::oplt, 2, 4, " < "},
    OperatorTraits{Operator::Greater, &ExpParser::opgt, 2, 4, " > "},
    OperatorTraits{Operator::LessEqual, &ExpParser::ople, 2, 4, " <= "},
    OperatorTraits{Operator::GreaterEqual, &ExpParser::opge, 2, 4, " >= "},
    OperatorTraits{Operator::Equal, &ExpParser::opdeq, 2, 4, " == "},
    OperatorTraits{Operator::NotEqual, &ExpParser::opdne, 2, 4, " != "},
    OperatorTraits{Operator::BoolEqual, &ExpParser::opbeq, 2, 2, " == "},
    OperatorTraits{Operator::BoolNotEqual, &ExpParser::opbne, 2, 2, " != "},
    OperatorTraits{Operator::Or, &ExpParser::oplor, 2, 1, " || "},
    OperatorTraits{Operator::And, &ExpParser::opland, 2, 1, " && "},
    OperatorTraits{Operator::Negate, &ExpParser::opneg, 1, 7, "-"},
    OperatorTraits{Operator::Truth, &ExpParser::opnz, 1, leafLevel, ""},
    OperatorTraits{Operator::Not, &ExpParser::opnot, 1, 3, "!"},
};

const OperatorTraits& traits(Operator kind) {
    return operators[static_cast<std::size_t>(kind)];
}

const OperatorTraits& traits(ExpParser::Operation operation) {
    const auto* const entry =
        std::find_if(operators.begin(), operators.end(),
                     [&](const OperatorTraits& traits) { return traits.operation == operation; });
    if (entry == operators.end()) {
        throw std::logic_error("a step that no expression text leads to");
    }
    return *entry;
}

bool isBoolComparison(Operator kind) {
    return kind == Operator::BoolEqual || kind == Operator::BoolNotEqual;
}

/// Whether `operand` needs parentheses as an operand of `kind`. Where the language can do without, but few
/// would read it as it does (`!a == b`, `a < b == c`, `a || b && c`), there are some all the same.
bool needsParentheses(Operator kind, Operator operand, bool isRight) {
    if (isBoolComparison(kind)) {
        return isLogical(operand);
    }
    if (kind == Operator::Not) {
        return traits(operand).level < leafLevel && operand != Operator::Not;
    }
    const bool looserOnTheLeft = traits(operand).level < traits(kind).level;
    const bool equalOnTheRight = isRight && traits(operand).level == traits(kind).level;
    return looserOnTheLeft || equalOnTheRight || (kind == Operator::And && operand == Operator::Or);
}

/// The text of a sub-expression and its outermost operator.
struct Piece {
    std::string text;
    Operator kind;
};

std::string leafText(const ExpressionNode& node) {
    if (node.kind == Operator::Signal) {
        return node.signal->def.instance;
    }
    return node.missing.empty() ? doubleText(node.constant) : node.missing;
}

std::string operandText(Operator kind, Piece operand, bool isRight) {
    return needsParentheses(kind, operand.kind, isRight) ? "(" + operand.text + ")" : std::move(operand.text);
}

/// Replaces the operands at the end of `pieces` by the text of their operator.
void combine(Operator kind, std::vector<Piece>& pieces) {
    if (kind == Operator::Truth) {
        return;
    }
    Piece last = std::move(pieces.back());
    pieces.pop_back();
    if (traits(kind).operands == 1) {
        pieces.push_back({traits(kind).symbol + operandText(kind, std::move(last), false), kind});
        return;
    }
    std::string text = operandText(kind, std::move(pieces.back()), false);
    text += traits(kind).symbol;
    text += operandText(kind, std::move(last), true);
    pieces.back() = {std::move(text), kind};
}

} // namespace

bool isComparison(Operator kind) {
    return (kind >= Operator::Less && kind <= Operator::NotEqual) || isBoolComparison(kind);
}

bool isLogical(Operator kind) {
    return isComparison(kind) || kind == Operator::Or || kind == Operator::And || kind == Operator::Not;
}

ExpressionTree::ExpressionTree(const ExpParser& parser) {
    std::vector<std::size_t> open; // operands whose operator is still to come
    for (const auto& [operation, operand] : parser.program.copy()) {
        ExpressionNode node;
        const std::size_t index = allNodes.size();
        const OperatorTraits& step = traits(operation);
        node.kind = step.kind;
        node.first = index;
        if (step.kind == Operator::Signal) {
            node.signal = operand.signal;
        } else if (step.kind == Operator::Constant) {
            node.constant = operand.constant;
        }
        if (step.operands == 2) {
            node.right = open.back();
            open.pop_back();
        }
        if (step.operands > 0) {
            node.left = open.back();
            open.pop_back();
            node.first = allNodes[node.left].first;
        }
        open.push_back(index);
        allNodes.push_back(std::move(node));
    }
    for (const ExpError& error : parser.errors()) {
        allNodes[error.step].missing = error.name;
    }
}

bool ExpressionTree::isConstant(std::size_t node) const {
    const auto begin = allNodes.begin();
    return std::none_of(begin + static_cast<std::ptrdiff_t>(allNodes[node].first),
                        begin + static_cast<std::ptrdiff_t>(node + 1), [](const ExpressionNode& part) {
                            return part.kind == Operator::Signal || !part.missing.empty();
                        });
}

std::string ExpressionTree::text(std::size_t node) const {
    std::vector<Piece> pieces; // not recursive: an expression may be nested as deeply as it is long
    for (std::size_t i = allNodes[node].first; i <= node; ++i) {
        if (traits(allNodes[i].kind).operands == 0) {
            pieces.push_back({leafText(allNodes[i]), allNodes[i].kind});
        } else {
            combine(allNodes[i].kind, pieces);
        }
    }
    return std::move(pieces.back().text);
}

} // namespace rksignal
