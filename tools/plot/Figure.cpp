#include "plot/Figure.h"

#include <algorithm>
#include <cmath>

namespace rksignal {
namespace {

std::size_t stateOf(const FigureTrack& track, double value) {
    const auto state = std::ranges::lower_bound(track.states, value, {}, &FigureState::value);
    return static_cast<std::size_t>(state - track.states.begin());
}

/// One band for each run of points of one state.
std::vector<StateBand> allBands(const FigureTrack& track, std::uint64_t end) {
    std::vector<StateBand> bands;
    for (std::size_t i = 0; i < track.points.size(); ++i) {
        const CurvePoint& point = track.points[i];
        if (std::isnan(point.value)) {
            continue;
        }
        const bool isLast = i + 1 == track.points.size();
        const std::uint64_t to = isLast ? std::max(point.time, end) : track.points[i + 1].time;
        const std::size_t state = stateOf(track, point.value);
        if (!bands.empty() && bands.back().state == state && bands.back().to == point.time) {
            bands.back().to = to;
        } else {
            bands.push_back({point.time, to, state});
        }
    }
    return bands;
}

} // namespace

bool FigurePanel::isConstant() const {
    return least() == greatest();
}

double FigurePanel::least() const {
    return std::ranges::min(tracks, {}, &FigureTrack::least).least;
}

double FigurePanel::greatest() const {
    return std::ranges::max(tracks, {}, &FigureTrack::greatest).greatest;
}

bool FigurePanel::isWhole() const {
    return std::ranges::all_of(tracks, &FigureTrack::isWhole);
}

std::vector<StateBand> stateBands(const FigureTrack& track, std::uint64_t end, std::uint64_t shortest) {
    const std::vector<StateBand> all = allBands(track, end);
    std::vector<StateBand> joined;
    bool endsShort = false; // the last one of `joined` is short, or made of short ones
    for (const StateBand& band : all) {
        const bool isShort = band.to - band.from < shortest;
        if (isShort && endsShort && joined.back().to == band.from) {
            joined.back().to = band.to;
            joined.back().state = joined.back().state == band.state ? band.state : severalStates;
        } else {
            joined.push_back(band);
        }
        endsShort = isShort;
    }
    return joined;
}

std::vector<TimeSpan> breaksOf(const FigureTrack& track, std::uint64_t end) {
    std::vector<TimeSpan> breaks;
    for (std::size_t i = 0; i < track.points.size(); ++i) {
        if (std::isnan(track.points[i].value)) {
            const std::uint64_t from = track.points[i].time;
            breaks.push_back(
                {from, i + 1 < track.points.size() ? track.points[i + 1].time : std::max(from, end)});
        }
    }
    return breaks;
}

} // namespace rksignal
