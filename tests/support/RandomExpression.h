/// \file
/// Random expressions, made from the rules of the language, with the values that they have.
#pragma once

#include <cmath>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace randomexpression {

/// A known number, or nothing.
using Value = std::optional<double>;

inline Value number(double value) {
    return std::isnan(value) ? Value() : Value(value);
}

/// How tightly the outermost operator of a text binds.
enum Binding { OrAnd, Equality, Not, Comparison, Sum, Product, Sign, Atom };

struct Term {
    std::string text;
    Binding binding;
    Value value;
    bool endsInNumber = true; ///< at its end stands a number that is taken as a boolean

    /// The text where an operand must bind at least so tightly.
    std::string as(Binding least) const { return binding < least ? '(' + text + ')' : text; }
};

/// Makes expressions from the rules of the language; everything follows from the seed.
class RandomExpression {
  public:
    RandomExpression(std::uint32_t seed, const std::map<std::string, Value>& signals)
        : random(seed), signals(signals.begin(), signals.end()) {}

    Term boolean(int depth) {
        switch (depth == 0 ? 0 : below(6)) {
        case 0:
            return arithmetic(depth);
        case 1:
            return negated(boolean(depth - 1));
        case 2:
            return equality(depth);
        case 3:
            return comparison(depth);
        default:
            return junction(depth);
        }
    }

  private:
    unsigned below(unsigned count) { return static_cast<unsigned>(random()) % count; }

    Term negated(const Term& operand) {
        const Value value = operand.value ? Value(*operand.value == 0 ? 1 : 0) : Value();
        return {"!" + operand.as(Not), Not, value, operand.binding >= Not && operand.endsInNumber};
    }

    Term junction(int depth) {
        const Term left = boolean(depth - 1);
        const Term right = boolean(depth - 1);
        const bool isOr = below(2) == 0;
        return {left.as(OrAnd) + (isOr ? " || " : " && ") + right.as(Equality), OrAnd,
                isOr ? disjunction(left.value, right.value) : conjunction(left.value, right.value)};
    }

    static Value disjunction(Value a, Value b) {
        if (a && b)
            return *a != 0 || *b != 0;
        const Value known = a ? a : b;
        return known && *known > 0 ? Value(1) : Value();
    }

    static Value conjunction(Value a, Value b) {
        if ((a && *a == 0) || (b && *b == 0))
            return 0;
        return a && b ? Value(1) : Value();
    }

    /// Between booleans: a number on the left would make it a comparison of numbers.
    Term equality(int depth) {
        Term left = boolean(depth - 1);
        const Term right = boolean(depth - 1);
        if (left.binding >= Sum)
            return left;
        const bool isEqual = below(2) == 0;
        const Value value =
            left.value && right.value ? Value((*left.value == *right.value) == isEqual) : Value();
        const bool ambiguous = left.endsInNumber && left.binding >= Equality;
        return {(ambiguous ? '(' + left.text + ')' : left.as(Equality)) + (isEqual ? " == " : " != ") +
                    right.as(Not),
                Equality, value, right.binding >= Not && right.endsInNumber};
    }

    Term comparison(int depth) {
        const Term left = arithmetic(depth - 1);
        const Term right = arithmetic(depth - 1);
        static constexpr const char* operators[] = {"<", ">", "<=", ">=", "==", "!="};
        const unsigned chosen = below(6);
        Value value;
        if (left.value && right.value) {
            const double a = *left.value;
            const double b = *right.value;
            const bool results[] = {a<b, a> b, a <= b, a >= b, a == b, a != b};
            value = results[chosen];
        }
        return {left.text + operators[chosen] + ' ' + right.text, Comparison, value, false};
    }

    Term arithmetic(int depth) {
        switch (depth <= 0 ? below(2) : below(8)) {
        case 0:
            return constant();
        case 1:
            return signal();
        case 2: {
            const Term operand = arithmetic(depth - 1);
            return {"- " + operand.as(Sign), Sign, operand.value ? Value(-*operand.value) : Value()};
        }
        default:
            return binary(depth);
        }
    }

    Term binary(int depth) {
        const Term left = arithmetic(depth - 1);
        const Term right = arithmetic(depth - 1);
        const char sign = "+-*/%"[below(5)];
        const Binding binding = sign == '+' || sign == '-' ? Sum : Product;
        const auto stronger = static_cast<Binding>(binding + 1);
        Value value;
        if (left.value && right.value)
            value = computed(*left.value, sign, *right.value);
        return {left.as(binding) + ' ' + sign + ' ' + right.as(stronger), binding, value};
    }

    static Value computed(double a, char sign, double b) {
        if (sign == '%')
            return remainder(a, b);
        return number(sign == '+' ? a + b : sign == '-' ? a - b : sign == '*' ? a * b : a / b);
    }

    /// In integers of 128 bits, taken modulo 2^64.
    static Value remainder(double a, double b) {
        const auto whole = [](double value) -> std::optional<unsigned __int128> {
            if (!(std::trunc(value) >= -9223372036854775808.0 && value < 18446744073709551616.0))
                return std::nullopt;
            const auto integer = static_cast<__int128>(value);
            return static_cast<unsigned __int128>(integer < 0 ? integer + (static_cast<__int128>(1) << 64)
                                                              : integer);
        };
        const auto dividend = whole(a);
        const auto divisor = whole(b);
        return dividend && divisor && *divisor != 0 ? Value(static_cast<double>(*dividend % *divisor))
                                                    : Value();
    }

    Term constant() {
        static const std::pair<const char*, double> constants[] = {
            {"0", 0},         {"1", 1},
            {".9", .9},       {"2.5", 2.5},
            {"7", 7},         {"9223372036854775808", 0x1p63},
            {"1e30", 1e30},   {"18446744073709551615.", 0x1p64}, // rounded up
            {"1e300", 1e300}, {"pressed_long", 2}};
        const auto& [text, value] = constants[below(std::size(constants))];
        return {text, Atom, value};
    }

    Term signal() {
        const auto& [name, value] = signals[below(static_cast<unsigned>(signals.size()))];
        return {name, Atom, value};
    }

    std::mt19937 random;
    std::vector<std::pair<std::string, Value>> signals;
};

} // namespace randomexpression
