#include "condition/Explanation.h"

#include "text/NumberText.h"

#include <cmath>
#include <ostream>

namespace rksignal {
namespace {

const char* truthText(double value) {
    if (std::isnan(value)) {
        return "unknown";
    }
    return value != 0 ? "true" : "false";
}

class Explainer {
  public:
    Explainer(CompiledCondition& condition, const UnknownReason& reason, std::ostream& out)
        : tree(condition.tree()), values(condition.evaluate()), reason(reason), out(out) {}

    void run() {
        const std::size_t root = tree.root();
        out << tree.text(root) << ": " << truthText(values[root]) << '\n';
        if (isLogical(tree[root].kind)) {
            openOperands(root, 1);
        } else { // a number taken as a condition
            open.push_back({root, 1});
        }
        while (!open.empty()) {
            const Line next = open.back();
            open.pop_back();
            visit(next.node, next.depth);
        }
    }

  private:
    struct Line {
        std::size_t node;
        std::size_t depth;
    };

    void visit(std::size_t index, std::size_t depth) {
        const ExpressionNode& node = tree[index];
        if (node.kind == Operator::Truth) {
            open.push_back({node.left, depth});
            return;
        }
        const std::string text = tree.text(index);
        const std::string value = valueText(index);
        if (text == value) { // a number
            return;
        }
        out << std::string(2 * depth, ' ') << text << ": " << value << '\n';
        openOperands(index, depth + 1);
    }

    /// Queues the lines below a node, the first one last.
    void openOperands(std::size_t index, std::size_t depth) {
        const Operator kind = tree[index].kind;
        if (kind == Operator::Constant || kind == Operator::Signal) {
            return;
        }
        const bool isChain = kind == Operator::And || kind == Operator::Or;
        for (;; index = tree[index].left) {
            if (kind != Operator::Negate && kind != Operator::Not) {
                open.push_back({tree[index].right, depth});
            }
            if (!isChain || tree[tree[index].left].kind != kind) {
                break;
            }
        }
        open.push_back({tree[index].left, depth});
    }

    std::string valueText(std::size_t index) const {
        const ExpressionNode& node = tree[index];
        if (node.kind == Operator::Signal) {
            return signalText(*node.signal, values[index]);
        }
        if (isLogical(node.kind)) {
            return truthText(values[index]);
        }
        if (!node.missing.empty()) {
            return "0 (no such signal)";
        }
        return std::isnan(values[index]) ? arithmeticUnknown(node) : doubleText(values[index]);
    }

    std::string arithmeticUnknown(const ExpressionNode& node) const {
        const bool operandsKnown = !std::isnan(values[node.left]) && !std::isnan(values[node.right]);
        return operandsKnown ? "unknown (not a number)" : "unknown";
    }

    std::string signalText(BaseSignal& signal, double value) const {
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (!signal.read(raw, timestamp)) {
            return "unknown (" + reason(signal) + ")";
        }
        if (std::isnan(value)) {
            return "unknown (not a number)";
        }
        const std::string meaning = signal.getValueDescription(raw);
        return doubleText(value) + (signal.def.unit.empty() ? "" : " " + signal.def.unit) +
               (meaning.empty() ? "" : " (" + meaning + ")");
    }

    const ExpressionTree tree;
    const std::vector<double> values;
    const UnknownReason& reason;
    std::ostream& out;
    std::vector<Line> open; ///< lines still to be written, the next one last
};

} // namespace

void explain(CompiledCondition& condition, const UnknownReason& reason, std::ostream& out) {
    Explainer(condition, reason, out).run();
}

} // namespace rksignal
