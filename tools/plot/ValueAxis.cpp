#include "plot/ValueAxis.h"

#include "text/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace rksignal {
namespace {

/// `factor` times ten to the power of `exponent`; the factor is 1, 2 or 5.
struct TickStep {
    int factor;
    int exponent;

    double size() const { return valueOf(1); }
    double valueOf(double count) const {
        return exponent < 0 ? count * factor / std::pow(10, -exponent)
                            : count * factor * std::pow(10, exponent);
    }
    void enlarge() {
        exponent += factor == 5 ? 1 : 0;
        factor = factor == 1 ? 2 : factor == 2 ? 5 : 1;
    }
};

double ticksBetween(const ValueAxis& axis, const TickStep& step) {
    return std::floor(axis.high / step.size()) - std::ceil(axis.low / step.size()) + 1;
}

TickStep stepFor(const ValueAxis& axis, unsigned mostTicks, bool wholeNumbers) {
    const double least = axis.high / mostTicks - axis.low / mostTicks;
    TickStep step{1, static_cast<int>(std::floor(std::log10(least)))};
    if (wholeNumbers && step.exponent < 0) {
        step = {1, 0};
    }
    while (ticksBetween(axis, step) > mostTicks) {
        step.enlarge();
    }
    return step;
}

/// With as many decimals as the step has, so that they stand below each other; far from 1 in the shortest
/// form.
std::string tickText(double value, const TickStep& step) {
    constexpr int mostDecimals = 6;
    constexpr double mostDigits = 1e7;
    if (step.exponent >= 0 || step.exponent < -mostDecimals || std::fabs(value) >= mostDigits) {
        return doubleText(value);
    }
    char text[maxNumberText];
    const auto end =
        std::to_chars(text, text + maxNumberText, value, std::chars_format::fixed, -step.exponent);
    return {text, end.ptr};
}

/// Both values and a little room, or, where that would be nothing, so much that ticks differ.
ValueAxis boundsAround(double least, double greatest) {
    constexpr double room = 0.04;
    constexpr double tellable = 1e-9; // of the greater magnitude
    const double magnitude = std::max(std::fabs(least), std::fabs(greatest));
    const double span = greatest / 2 - least / 2; // the difference itself may be too great
    double margin = 2 * room * std::min(span, std::numeric_limits<double>::max() / 4);
    if (span <= magnitude * tellable || span == 0) {
        margin = magnitude == 0 ? 1 : std::max(magnitude / 10, std::numeric_limits<double>::min());
    }
    constexpr double limit = std::numeric_limits<double>::max() / 2;
    return {std::max(least - margin, -limit), std::min(greatest + margin, limit), {}};
}

} // namespace

std::string valueText(double value) {
    constexpr int digits = 7;
    char text[maxNumberText];
    return {text, std::to_chars(text, text + maxNumberText, value, std::chars_format::general, digits).ptr};
}

double ValueAxis::position(double value) const {
    const double within = std::clamp(value, low, high);
    return (within / 2 - low / 2) / (high / 2 - low / 2);
}

ValueAxis valueAxis(double least, double greatest, unsigned mostTicks, bool wholeNumbers) {
    ValueAxis axis = boundsAround(least, greatest);
    const TickStep step = stepFor(axis, mostTicks, wholeNumbers);
    const double first = std::ceil(axis.low / step.size());
    const double count = ticksBetween(axis, step); // at most `mostTicks`
    for (unsigned i = 0; i < count; ++i) {
        const double value = step.valueOf(first + i) + 0.0; // no -0
        axis.ticks.push_back({value, tickText(value, step)});
    }
    return axis;
}

} // namespace rksignal
