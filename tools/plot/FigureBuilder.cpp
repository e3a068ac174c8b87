#include "plot/FigureBuilder.h"

#include "definition/RawNumber.h"
#include "plot/SvgTheme.h"
#include "plot/ValueAxis.h"
#include "text/PrintableText.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t mostTogether = std::tuple_size_v<decltype(SvgTheme::lines)>; // each has its own colour

/// As an axis can hold it.
double physical(const baseSignalDef_t& signal, double raw) {
    constexpr double limit = std::numeric_limits<double>::max() / 4;
    const double value = raw * signal.scale + signal.offset;
    return std::isnan(value) ? value : std::clamp(value, -limit, limit);
}

CurveKind kindOf(const Curve& curve) {
    if (curve.kind() != CurveKind::Constant) {
        return curve.kind();
    }
    return textOfNumber(curve.definition(), curve.minimum()) != nullptr ? CurveKind::States : CurveKind::Step;
}

void enterStates(FigureTrack& track, const baseSignalDef_t& signal) {
    std::vector<double> values;
    for (const CurvePoint& point : track.points) {
        if (!std::isnan(point.value)) {
            values.push_back(point.value);
        }
    }
    std::ranges::sort(values);
    values.erase(std::unique(values.begin(), values.end()), values.end());
    for (const double value : values) {
        const std::string* const text = textOfNumber(signal, value);
        track.states.push_back(
            {value, text != nullptr ? printable(*text) : valueText(physical(signal, value))});
    }
}

/// \return whether there is anything to be seen
bool enterValues(FigureTrack& track, const baseSignalDef_t& signal) {
    bool isEmpty = true;
    for (CurvePoint& point : track.points) {
        point.value = physical(signal, point.value);
        if (!std::isnan(point.value)) {
            track.least = isEmpty ? point.value : std::min(track.least, point.value);
            track.greatest = isEmpty ? point.value : std::max(track.greatest, point.value);
            isEmpty = false;
        }
    }
    return !isEmpty;
}

bool isInteger(double number) {
    return std::floor(number) == number;
}

void append(Figure& figure, FigureTrack&& track, bool together) {
    if (together && track.kind != CurveKind::States && !track.unit.empty()) {
        const auto panel = std::ranges::find_if(figure.panels, [&](const FigurePanel& each) {
            return !each.isStates() && each.tracks.front().unit == track.unit &&
                   each.tracks.size() < mostTogether;
        });
        if (panel != figure.panels.end()) {
            panel->tracks.push_back(std::move(track));
            return;
        }
    }
    figure.panels.emplace_back().tracks.push_back(std::move(track));
}

} // namespace

Figure figureOf(const Catalog& catalog, const CurveRecorder& curves, std::span<const std::size_t> signals,
                const FigureSettings& settings) {
    Figure figure;
    figure.from = curves.report().first;
    figure.to = curves.report().last;
    for (const std::size_t index : signals) {
        const Curve& curve = curves.curve(index);
        if (curve.kind() == CurveKind::Empty) {
            continue;
        }
        const baseSignalDef_t& signal = catalog.signals()[index]->def;
        FigureTrack track{.name = printable(signal.instance),
                          .unit = printable(signal.unit),
                          .kind = kindOf(curve),
                          .points = curve.reduced(figure.from, figure.to, settings.columns),
                          .least = 0,
                          .greatest = 0,
                          .isWhole = signal.type <= signalValue_t::Signed && isInteger(signal.scale) &&
                                     isInteger(signal.offset),
                          .states = {}};
        if (track.kind == CurveKind::States) {
            enterStates(track, signal);
        } else if (!enterValues(track, signal)) {
            continue;
        }
        append(figure, std::move(track), settings.together);
    }
    for (const Gap& gap : curves.gaps()) {
        figure.gaps.push_back({gap.begin, gap.end()});
    }
    return figure;
}

} // namespace rksignal
