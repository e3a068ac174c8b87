#include "condition/ConditionGuard.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

namespace rksignal {
namespace {

constexpr std::uint64_t signBit = std::uint64_t{1} << 63;
constexpr std::uint64_t lastRaw = std::numeric_limits<std::uint64_t>::max();

/// The physical values of all 64-bit raw values, as the signal computes them. Each step of that keeps the
/// order of numbers, or turns it round if the scale is negative; so the raw values on one side of a limit are
/// an interval.
class PhysicalOrder {
  public:
    explicit PhysicalOrder(const ConditionGuard& of)
        : definition(of.signal->def), turn(of.turn()), flip(definition.scale < 0 ? lastRaw : 0) {}

    /// The raw values whose physical one compares so with `number`; nothing if they are no interval.
    std::optional<RawInterval> where(Operator comparison, double number) const {
        const auto notBelow = first([number](double value) { return value >= number; });
        const auto above = first([number](double value) { return value > number; });
        switch (comparison) {
        case Operator::Less:
            return between(0, notBelow);
        case Operator::LessEqual:
            return between(0, above);
        case Operator::Greater:
            return between(above, std::nullopt);
        case Operator::GreaterEqual:
            return between(notBelow, std::nullopt);
        case Operator::Equal:
            return between(notBelow, above);
        default:
            return std::nullopt;
        }
    }

  private:
    /// By place in ascending order.
    double valueAt(std::uint64_t place) const {
        const std::uint64_t raw = place ^ flip ^ turn;
        const double number = definition.type == signalValue_t::Signed
                                  ? static_cast<double>(static_cast<std::int64_t>(raw))
                                  : static_cast<double>(raw);
        return number * definition.scale + definition.offset;
    }

    /// The first place whose value, as all after it, `isReached`.
    template <class Predicate>
    std::optional<std::uint64_t> first(Predicate isReached) const {
        std::uint64_t low = 0;
        std::uint64_t high = lastRaw;
        if (!isReached(valueAt(high))) {
            return std::nullopt;
        }
        while (low < high) {
            const std::uint64_t middle = low + (high - low) / 2;
            if (isReached(valueAt(middle))) {
                high = middle;
            } else {
                low = middle + 1;
            }
        }
        return low;
    }

    /// From `begin` to before `end`. Nothing: behind the last place.
    RawInterval between(std::optional<std::uint64_t> begin, std::optional<std::uint64_t> end) const {
        if (!begin || (end && *end <= *begin)) {
            return {};
        }
        const std::uint64_t last = end ? *end - 1 : lastRaw;
        return flip != 0 ? RawInterval{~last, ~*begin} : RawInterval{*begin, last};
    }

    const baseSignalDef_t& definition;
    std::uint64_t turn;
    std::uint64_t flip;
};

bool isGuardable(const BaseSignal& signal) {
    const bool isInteger =
        signal.def.type == signalValue_t::Unsigned || signal.def.type == signalValue_t::Signed;
    return isInteger && signal.slot == &signal.privateSlot && std::isfinite(signal.def.scale) &&
           std::isfinite(signal.def.offset);
}

/// `5 < signal` as `signal > 5`.
Operator mirrored(Operator comparison) {
    switch (comparison) {
    case Operator::Less:
        return Operator::Greater;
    case Operator::LessEqual:
        return Operator::GreaterEqual;
    case Operator::Greater:
        return Operator::Less;
    case Operator::GreaterEqual:
        return Operator::LessEqual;
    default:
        return comparison;
    }
}

/// A number without signals.
std::optional<double> constantOf(const ExpressionTree& tree, const ExpressionNode& node) {
    if (node.kind == Operator::Negate && tree[node.left].kind == Operator::Constant) {
        return -tree[node.left].constant;
    }
    return node.kind == Operator::Constant ? std::optional(node.constant) : std::nullopt;
}

ConditionGuard ofComparison(BaseSignal* signal, Operator comparison, double number) {
    ConditionGuard guard{signal};
    if (!isGuardable(*signal) || std::isnan(number)) {
        return {};
    }
    const auto raws = PhysicalOrder(guard).where(comparison, number);
    return raws ? ConditionGuard{signal, *raws, true} : ConditionGuard();
}

/// How much of what the signal's field can hold lies inside, from 0 to 1.
double shareOf(const ConditionGuard& guard) {
    const std::uint64_t mask = guard.signal->d_maksBits;
    const std::uint64_t least = guard.turn() - (guard.turn() != 0 ? mask / 2 + 1 : 0);
    const RawInterval inField{std::max(guard.raws.low, least), std::min(guard.raws.high, least + mask)};
    const auto span = [](std::uint64_t difference) { return static_cast<double>(difference) + 1; };
    return inField.isEmpty() ? 0 : span(inField.high - inField.low) / span(mask);
}

/// Known to be false where one operand is. Of two signals the one that holds it false more often.
ConditionGuard ofBoth(const ConditionGuard& left, const ConditionGuard& right) {
    ConditionGuard guard = left;
    if (left.signal == nullptr || right.signal == nullptr) {
        guard = left.signal == nullptr ? right : left;
    } else if (left.signal != right.signal) {
        guard = shareOf(right) < shareOf(left) ? right : left;
    } else {
        return {left.signal,
                {std::max(left.raws.low, right.raws.low), std::min(left.raws.high, right.raws.high)},
                left.decides && right.decides};
    }
    guard.decides = false;
    return guard;
}

/// Known to be false where both operands are.
ConditionGuard ofEither(const ConditionGuard& left, const ConditionGuard& right) {
    if (left.signal == nullptr || left.signal != right.signal) {
        return {};
    }
    if (left.raws.isEmpty() || right.raws.isEmpty()) {
        return left.raws.isEmpty() ? right : left;
    }
    const bool meet = left.raws.low <= right.raws.high && right.raws.low <= left.raws.high;
    return {left.signal,
            {std::min(left.raws.low, right.raws.low), std::max(left.raws.high, right.raws.high)},
            meet && left.decides && right.decides};
}

} // namespace

std::uint64_t ConditionGuard::turn() const {
    return signal != nullptr && signal->def.type == signalValue_t::Signed ? signBit : 0;
}

RawArc ConditionGuard::arc() const {
    return {raws.low ^ turn(), raws.high - raws.low};
}

RawArc hull(RawArc one, RawArc other) {
    const auto spanOfBoth = [](RawArc begin, RawArc end) {
        // everything, if `end` comes round to the beginning
        const std::uint64_t before = end.first - begin.first;
        return std::max(begin.span, before > lastRaw - end.span ? lastRaw : before + end.span);
    };
    const std::uint64_t fromOne = spanOfBoth(one, other);
    const std::uint64_t fromOther = spanOfBoth(other, one);
    return fromOther < fromOne ? RawArc{other.first, fromOther} : RawArc{one.first, fromOne};
}

ConditionGuard guardOf(const ExpressionTree& tree) {
    std::vector<ConditionGuard> guards; // by node
    for (const ExpressionNode& node : tree.nodes()) {
        ConditionGuard guard;
        if (node.kind == Operator::And) {
            guard = ofBoth(guards[node.left], guards[node.right]);
        } else if (node.kind == Operator::Or) {
            guard = ofEither(guards[node.left], guards[node.right]);
        } else if (isComparison(node.kind)) {
            const ExpressionNode& left = tree[node.left];
            const ExpressionNode& right = tree[node.right];
            if (const auto number = constantOf(tree, right); number && left.kind == Operator::Signal) {
                guard = ofComparison(left.signal, node.kind, *number);
            } else if (const auto limit = constantOf(tree, left); limit && right.kind == Operator::Signal) {
                guard = ofComparison(right.signal, mirrored(node.kind), *limit);
            }
        }
        guards.push_back(guard);
    }
    return guards.back().raws.isEmpty() ? ConditionGuard() : guards.back();
}

} // namespace rksignal
