/// \file
/// Random expressions, made from the rules of the language, with the values that they have.
#pragma once

#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

/// How tightly the outermost operator of a text binds.
enum class Binding { OrAnd, Equality, Not, Comparison, Sum, Product, Sign, Atom };

struct RandomTerm {
    std::string text;
    Binding binding;
    double value;             ///< not a number: unknown
    bool endsInNumber = true; ///< at its end stands a number that is taken as a boolean

    /// The text where an operand must bind at least so tightly.
    std::string as(Binding least) const { return binding < least ? '(' + text + ')' : text; }
};

/// Makes expressions over signals of these values. Everything follows from the seed.
class RandomExpression {
  public:
    RandomExpression(std::uint32_t seed, const std::map<std::string, double>& signals)
        : random(seed), signals(signals.begin(), signals.end()) {}

    RandomTerm boolean(int depth) {
        const unsigned kind = depth == 0 ? 0 : below(6);
        if (kind == 0)
            return arithmetic(depth);
        if (kind == 1)
            return negated(boolean(depth - 1));
        if (kind == 3)
            return comparison(depth);
        const RandomTerm left = boolean(depth - 1), right = boolean(depth - 1);
        return kind == 2 ? equality(left, right) : junction(left, right);
    }

  private:
    using Term = RandomTerm;
    using enum Binding;
    static constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

    unsigned below(std::size_t count) { return static_cast<unsigned>(random() % count); }

    static Term negated(const Term& operand) {
        const double value = std::isnan(operand.value) ? unknown : operand.value == 0;
        return {"!" + operand.as(Not), Not, value, operand.binding >= Not && operand.endsInNumber};
    }

    Term junction(const Term& left, const Term& right) {
        const bool isOr = below(2) == 0;
        return {left.as(OrAnd) + (isOr ? " || " : " && ") + right.as(Equality), OrAnd,
                isOr ? disjunction(left.value, right.value) : conjunction(left.value, right.value)};
    }

    static double disjunction(double a, double b) {
        if (!std::isnan(a) && !std::isnan(b))
            return a != 0 || b != 0;
        return a > 0 || b > 0 ? 1 : unknown;
    }
    static double conjunction(double a, double b) {
        if (a == 0 || b == 0)
            return 0;
        return std::isnan(a) || std::isnan(b) ? unknown : 1;
    }

    /// Between booleans: a number on the left would make it a comparison of numbers.
    Term equality(const Term& left, const Term& right) {
        if (left.binding >= Sum)
            return left;
        const bool isEqual = below(2) == 0;
        const bool ambiguous = left.endsInNumber && left.binding >= Equality;
        return {(ambiguous ? '(' + left.text + ')' : left.as(Equality)) + (isEqual ? " == " : " != ") +
                    right.as(Not),
                Equality, ifKnown(left, right, (left.value == right.value) == isEqual),
                right.binding >= Not && right.endsInNumber};
    }

    static double ifKnown(const Term& left, const Term& right, bool result) {
        return std::isnan(left.value) || std::isnan(right.value) ? unknown : result;
    }

    Term comparison(int depth) {
        const Term left = arithmetic(depth - 1), right = arithmetic(depth - 1);
        const double a = left.value, b = right.value;
        const std::pair<const char*, bool> operators[] = {{"<", a < b},   {">", a > b},   {"<=", a <= b},
                                                          {">=", a >= b}, {"==", a == b}, {"!=", a != b}};
        const auto& [sign, result] = operators[below(std::size(operators))];
        return {left.text + sign + ' ' + right.text, Comparison, ifKnown(left, right, result), false};
    }

    Term arithmetic(int depth) {
        const unsigned kind = below(depth <= 0 ? 2 : 8);
        if (kind == 0)
            return constant();
        if (kind == 1) {
            const auto& [name, value] = signals[below(signals.size())];
            return {name, Atom, value};
        }
        const Term left = arithmetic(depth - 1);
        if (kind == 2)
            return {"- " + left.as(Sign), Sign, -left.value};
        const Term right = arithmetic(depth - 1);
        const double a = left.value, b = right.value;
        const std::pair<char, double> operators[] = {
            {'+', a + b}, {'-', a - b}, {'*', a * b}, {'/', a / b}, {'%', remainder(a, b)}};
        const auto& [sign, value] = operators[below(std::size(operators))];
        const Binding binding = sign == '+' || sign == '-' ? Sum : Product;
        const auto stronger = static_cast<Binding>(static_cast<int>(binding) + 1);
        return {left.as(binding) + ' ' + sign + ' ' + right.as(stronger), binding, value};
    }

    /// In integers of 128 bits, taken modulo 2^64.
    static double remainder(double a, double b) {
        for (const double value : {a, b})
            if (!(std::trunc(value) >= -9223372036854775808.0 && value < 18446744073709551616.0))
                return unknown;
        const auto whole = [](double value) {
            const auto integer = static_cast<__int128>(value);
            return integer < 0 ? integer + (static_cast<__int128>(1) << 64) : integer;
        };
        return whole(b) == 0 ? unknown : static_cast<double>(whole(a) % whole(b));
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

    std::mt19937 random;
    std::vector<std::pair<std::string, double>> signals;
};
