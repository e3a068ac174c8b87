#include "condition/ConditionCheck.h"

#include "condition/SignalRange.h"
#include "text/NumberText.h"

#include <utility>

namespace rksignal {
namespace {

std::string withUnit(std::string number, const ExpressionNode& node) {
    const bool hasUnit = node.kind == Operator::Signal && !node.signal->def.unit.empty();
    return hasUnit ? std::move(number) + " " + node.signal->def.unit : std::move(number);
}

bool isDecided(Interval truth) {
    return truth.isEmpty() || !truth.holds(0) || (truth.low == 0 && truth.high == 0);
}

/// REQUIRES: isDecided(truth)
const char* verdict(Interval truth) {
    if (truth.isEmpty()) {
        return "can never be known";
    }
    return truth.holds(0) ? "can never be true" : "is always true";
}

/// Whether the value table names most of the raw values from 0 to its last one. Others only name the special
/// values of a measurement.
bool isEnumeration(const std::map<std::uint64_t, std::string>& table) {
    return table.size() >= 2 && table.rbegin()->first / 2 < table.size();
}

/// Whether an `&&` follows an `||` in the same parentheses.
bool mixesOrWithAnd(const std::string& expression) {
    std::vector<bool> seenOr = {false}; // by depth of parentheses
    for (std::size_t i = 0; i < expression.size(); ++i) {
        if (expression[i] == '(') {
            seenOr.push_back(false);
        } else if (expression[i] == ')' && seenOr.size() > 1) {
            seenOr.pop_back();
        } else if (expression.compare(i, 2, "||") == 0) {
            seenOr.back() = true;
        } else if (expression.compare(i, 2, "&&") == 0 && seenOr.back()) {
            return true;
        }
    }
    return false;
}

/// Checks one condition: bounds its sub-expressions from the inside out.
class Check {
  public:
    Check(CompiledCondition& condition, RemarkList& remarks)
        : condition(condition), tree(condition.tree()), remarks(remarks) {}

    void run() {
        const std::vector<double> now = condition.evaluate();
        if (tree.isConstant(tree.root())) {
            warn("the expression reads no signal: it " +
                 std::string(verdict(truthOf(Interval::of(now.back())))));
            return;
        }
        for (std::size_t node = 0; node < now.size(); ++node) {
            intervals.push_back(tree.isConstant(node) ? Interval::of(now[node]) : intervalOf(node));
            checkOperands(node);
        }
        checkWhole();
        if (mixesOrWithAnd(condition.translation())) {
            warn("'&&' follows '||' without parentheses; both bind equally, so this is '" +
                 tree.text(tree.root()) + "'");
        }
    }

  private:
    static Interval truthOf(Interval value) {
        return bounds(Operator::Not, bounds(Operator::Not, value, {}), {});
    }

    Interval intervalOf(std::size_t index) {
        const ExpressionNode& node = tree[index];
        if (node.kind == Operator::Constant) { // of a missing signal
            return {};
        }
        if (node.kind == Operator::Signal) {
            return SignalRange(*node.signal).interval();
        }
        const Interval result = bounds(node.kind, intervals[node.left], intervals[node.right]);
        const bool isEquality = node.kind == Operator::Equal || node.kind == Operator::NotEqual;
        return isEquality && !isDecided(result) ? checkEquality(index, result) : result;
    }

    /// `==` and `!=` of a signal and a number within its range, which need not be one of its values.
    Interval checkEquality(std::size_t index, Interval result) {
        const ExpressionNode& node = tree[index];
        for (const auto& [side, other] :
             {std::pair(node.left, node.right), std::pair(node.right, node.left)}) {
            if (tree[side].kind == Operator::Signal && tree.isConstant(other)) {
                return checkEquality(index, side, intervals[other].low, result);
            }
        }
        return result;
    }

    Interval checkEquality(std::size_t index, std::size_t side, double number, Interval result) {
        const BaseSignal& signal = *tree[side].signal;
        SignalRange range(signal);
        if (!range.isFinite()) {
            return result;
        }
        const Interval nearest = range.around(number);
        if (nearest.isSingle()) {
            checkTable(index, signal, range.rawOf(number));
            return result;
        }
        const Interval truth = Interval::of(tree[index].kind == Operator::NotEqual ? 1 : 0);
        warn(quoted(index) + " " + verdict(truth) + ": the nearest values of " + signal.def.instance +
             " are " + doubleText(nearest.low) + " and " + withUnit(doubleText(nearest.high), tree[side]));
        return truth;
    }

    void checkTable(std::size_t index, const BaseSignal& signal, std::optional<std::uint64_t> raw) {
        if (raw && isEnumeration(signal.def.valueDescriptions) &&
            !signal.def.valueDescriptions.contains(*raw)) {
            say(Severity::Note, quoted(index) + ": the value table of " + signal.def.instance +
                                    " has no text for the raw value " + std::to_string(*raw));
        }
    }

    /// Says what is decided already, where it is written: in a comparison, or in a number that is taken as a
    /// condition. What follows from it in the operators around is not said again.
    void checkOperands(std::size_t index) {
        const ExpressionNode& node = tree[index];
        if (isComparison(node.kind)) {
            checkComparison(index);
        } else if (node.kind == Operator::And || node.kind == Operator::Or) {
            checkNumber(node.left);
            checkNumber(node.right);
        } else if (node.kind == Operator::Not) {
            checkNumber(node.left);
        }
    }

    void checkComparison(std::size_t index) {
        const ExpressionNode& node = tree[index];
        const Interval compared = bounds(node.kind, intervals[node.left], intervals[node.right]);
        if (isDecided(compared)) {
            report(index, compared, {node.left, node.right});
        }
    }

    void checkNumber(std::size_t index) {
        if (!isLogical(tree[index].kind) && isDecided(intervals[index])) {
            report(index, intervals[index], {index});
        }
    }

    void checkWhole() {
        const std::size_t root = tree.root();
        checkNumber(root);
        const bool isCombined = isLogical(tree[root].kind) && !isComparison(tree[root].kind);
        if (isCombined && isDecided(intervals[root])) {
            warn(std::string("the whole condition ") + verdict(intervals[root]));
        }
    }

    void report(std::size_t index, Interval truth, const std::vector<std::size_t>& operands) {
        std::string reasons;
        for (const std::size_t operand : operands) {
            const std::string range = rangeText(operand);
            if (!range.empty()) {
                reasons += reasons.empty() ? "" : ", ";
                reasons += (operand == index ? "it" : nameOf(operand)) + range;
            }
        }
        warn(quoted(index) + " " + verdict(truth) + ": " +
             (tree.isConstant(index) ? "it reads no signal" : reasons));
    }

    /// What an operand can come to, as ` lies between 0 and 255 km/h`; nothing for what the text says.
    std::string rangeText(std::size_t index) const {
        const ExpressionNode& node = withoutTruth(index);
        const Interval range = intervals[index];
        if (range.isEmpty()) {
            return " is never a number";
        }
        if (range.isSingle()) {
            const std::string number = doubleText(range.low);
            return tree.text(index) == number
                       ? ""
                       : (tree.isConstant(index) ? " is " : " is always ") + withUnit(number, node);
        }
        if (isLogical(node.kind)) {
            return " is 0 or 1";
        }
        return range.isEverything() ? ""
                                    : " lies between " + doubleText(range.low) + " and " +
                                          withUnit(doubleText(range.high), node);
    }

    const ExpressionNode& withoutTruth(std::size_t index) const {
        const ExpressionNode& node = tree[index];
        return node.kind == Operator::Truth ? tree[node.left] : node;
    }

    std::string nameOf(std::size_t index) const {
        return withoutTruth(index).kind == Operator::Signal ? tree.text(index) : quoted(index);
    }
    std::string quoted(std::size_t index) const { return "'" + tree.text(index) + "'"; }

    void warn(std::string message) { say(Severity::Warning, std::move(message)); }
    void say(Severity severity, std::string message) {
        remarks.add({condition.text().origin, severity, std::move(message)});
    }

    CompiledCondition& condition;
    const ExpressionTree tree;
    RemarkList& remarks;
    std::vector<Interval> intervals; ///< by node
};

} // namespace

void checkCondition(CompiledCondition& condition, RemarkList& remarks) {
    Check(condition, remarks).run();
}

} // namespace rksignal
