#include "curve/SignalChoice.h"

#include "definition/RawNumber.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fnmatch.h>
#include <string>
#include <unordered_map>

namespace rksignal {
namespace {

constexpr double nothing = -100; ///< not to be chosen

/// Counters, checksums and clocks are known by their names.
bool isHousekeeping(const std::string& name) {
    constexpr std::array patterns = {"*crc*",      "*checks*",    "*chks*",  "*counter*", "*cntr*",
                                     "*_cnt*",     "*_ctr*",      "*alive*", "*_bz*",     "*sequence*",
                                     "*mux*",      "*timestamp*", "chk",     "cnt",       "ctr",
                                     "*rollingc*", "*_chk*",      "*epoch*", "*serial*"};
    return std::ranges::any_of(
        patterns, [&name](const char* pattern) { return fnmatch(pattern, name.c_str(), FNM_CASEFOLD) == 0; });
}

/// From 0 to 1 as `number` goes from 1 to `full`.
double share(double number, double full) {
    return std::clamp(std::log(std::max(number, 1.0)) / std::log(full), 0.0, 1.0);
}

/// How far a curve goes, without the values that have texts, such as "not available".
struct Travel {
    explicit Travel(const Curve& curve) {
        const double* former = nullptr;
        double least = 0;
        double greatest = 0;
        for (const CurvePoint& point : curve.points()) {
            if (std::isnan(point.value) || textOfNumber(curve.definition(), point.value) != nullptr) {
                continue;
            }
            least = former == nullptr ? point.value : std::min(least, point.value);
            greatest = former == nullptr ? point.value : std::max(greatest, point.value);
            distance += former == nullptr ? 0 : std::abs(point.value - *former);
            former = &point.value;
        }
        range = greatest - least;
    }

    double range = 0;
    double distance = 0; ///< of all ways up and down
};

double interestOfQuantity(const Curve& curve) {
    const baseSignalDef_t& signal = curve.definition();
    const Travel travel(curve);
    if (!(travel.range > 0)) {
        return nothing;
    }
    const bool isFloat = signal.type == signalValue_t::Float || signal.type == signalValue_t::Double;
    const double values = isFloat ? 1 : share(travel.range, 100);
    const double turns = travel.distance / travel.range;
    const double noise = share(turns / 20, 50);
    const bool isRamp = turns < 1.001; // once through
    return (signal.unit.empty() ? 3 : 4) + values + share(static_cast<double>(curve.changes()), 100) -
           2 * noise - (isRamp ? 1 : 0);
}

double interestOfStates(const Curve& curve) {
    constexpr std::uint64_t often = 4; // a change in so many values
    if (often * curve.changes() > curve.count()) {
        return nothing;
    }
    const bool isNamed = curve.kind() == CurveKind::States;
    const double values = share(1 + curve.maximum() - curve.minimum(), 8);
    return (isNamed ? 2.5 : 1) + values + share(static_cast<double>(curve.changes()), 10) -
           share(static_cast<double>(curve.changes()) / 100, 100);
}

double interest(const Curve& curve) {
    constexpr std::uint64_t fewestValues = 10;
    if (curve.count() < fewestValues || isHousekeeping(curve.definition().signal) ||
        curve.definition().multiplexer != 0) {
        return nothing;
    }
    switch (curve.kind()) {
    case CurveKind::Line:
        return interestOfQuantity(curve);
    case CurveKind::States:
    case CurveKind::Step:
        return interestOfStates(curve);
    case CurveKind::Empty:
    case CurveKind::Constant:
        break;
    }
    return nothing;
}

/// Takes the most interesting ones, one after the other.
class Choice {
  public:
    Choice(const Catalog& catalog, const CurveRecorder& curves) : catalog(catalog), curves(curves) {}

    void consider(std::size_t signal, double interest) {
        if (interest > 0) {
            candidates.push_back({signal, interest});
        }
    }

    void take(std::size_t signal) {
        chosen.push_back(signal);
        if (const std::string& unit = catalog.signals()[signal]->def.unit; !unit.empty()) {
            ++ofUnit[unit];
        }
        ++ofKind[static_cast<std::size_t>(curves.curve(signal).kind())];
        ++ofMessage[catalog.origin(signal).message];
        std::erase_if(candidates, [signal](const Candidate& each) { return each.signal == signal; });
    }

    std::vector<std::size_t> upTo(std::size_t most) {
        while (chosen.size() < most && !candidates.empty()) {
            take(std::ranges::max_element(candidates, {}, [this](const Candidate& each) {
                     return welcome(each);
                 })->signal);
        }
        return chosen;
    }

  private:
    struct Candidate {
        std::size_t signal;
        double interest;
    };

    double welcome(const Candidate& candidate) {
        const auto units = ofUnit.find(catalog.signals()[candidate.signal]->def.unit);
        const auto messages = ofMessage.find(catalog.origin(candidate.signal).message);
        const double ofItsKind = ofKind[static_cast<std::size_t>(curves.curve(candidate.signal).kind())];
        return candidate.interest - 0.3 * ofItsKind - (units == ofUnit.end() ? 0.0 : 1.5 * units->second) -
               (messages == ofMessage.end() ? 0.0 : 0.4 * messages->second);
    }

    const Catalog& catalog;
    const CurveRecorder& curves;
    std::vector<std::size_t> chosen;
    std::vector<Candidate> candidates;
    std::array<double, 5> ofKind{};                 ///< number of chosen signals, by CurveKind
    std::unordered_map<std::string, double> ofUnit; ///< the same
    std::unordered_map<const MessageDefinition*, double> ofMessage;
};

} // namespace

std::vector<std::size_t> chooseSignals(const Catalog& catalog, const CurveRecorder& curves,
                                       std::span<const std::size_t> given, std::size_t most) {
    Choice choice(catalog, curves);
    for (const std::size_t signal : curves.signals()) {
        choice.consider(signal, interest(curves.curve(signal)));
    }
    for (const std::size_t signal : given) {
        choice.take(signal);
    }
    return choice.upTo(most);
}

} // namespace rksignal
