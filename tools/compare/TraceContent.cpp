#include "compare/TraceContent.h"

#include "info/FrameTableColumns.h"
#include "output/RowFormat.h"

#include <algorithm>
#include <cmath>

namespace rksignal {
namespace {

using FramesByName = std::map<std::string, const FrameStatistics*>;

/// `can 0 1A0`
std::string objectName(const FrameIdentity& identity) {
    std::string text(kindName(identity.kind));
    text += identity.channel ? ' ' + std::to_string(*identity.channel) : "";
    const std::string id = identityText(identity);
    return id.empty() ? text : text + ' ' + id;
}

FramesByName framesByName(const Survey& survey) {
    FramesByName frames;
    for (const FrameStatistics& each : survey.frames()) {
        frames.emplace(objectName(each.identity), &each);
    }
    return frames;
}

/// Calls `both` with what is in both maps, and adds what is only in one of them.
template <class Map, class Both>
void compareMaps(const Map& left, const Map& right, std::vector<Difference>& differences, Both&& both) {
    for (const auto& [name, value] : left) {
        if (const auto other = right.find(name); other != right.end()) {
            both(name, value, other->second);
        } else {
            differences.push_back({name, "", true, {}});
        }
    }
    for (const auto& [name, value] : right) {
        if (!left.contains(name)) {
            differences.push_back({name, "", {}, true});
        }
    }
}

/// Compares the properties of one object.
class PropertyComparison {
  public:
    PropertyComparison(const std::string& object, double tolerance, std::vector<Difference>& differences)
        : object(object), tolerance(tolerance), differences(differences) {}

    void number(const char* property, double left, double right) {
        if (std::abs(left - right) > tolerance * std::max(std::abs(left), std::abs(right))) {
            add(property, left, right);
        }
    }
    void count(const char* property, std::uint64_t left, std::uint64_t right) {
        const auto greater = static_cast<double>(std::max(left, right));
        if (static_cast<double>(left > right ? left - right : right - left) > tolerance * greater) {
            add(property, left, right);
        }
    }
    void text(const char* property, const std::string& left, const std::string& right) {
        if (left != right) {
            add(property, left, right);
        }
    }

  private:
    void add(const char* property, nlohmann::json left, nlohmann::json right) {
        differences.push_back({object, property, std::move(left), std::move(right)});
    }

    const std::string& object;
    double tolerance;
    std::vector<Difference>& differences;
};

double inMilliseconds(std::uint64_t nanoseconds) {
    const std::uint64_t microseconds = (nanoseconds + 500) / 1000;
    return static_cast<double>(microseconds) / 1000;
}

void compareFrames(PropertyComparison compare, const FrameStatistics& left, const FrameStatistics& right) {
    compare.count("count", left.count, right.count);
    compare.number("cycle_ms", inMilliseconds(left.cycle.percentile(50)),
                   inMilliseconds(right.cycle.percentile(50)));
    compare.count("shortest", left.shortest, right.shortest);
    compare.count("longest", left.longest, right.longest);
    compare.text("changes", changedBytesText(left.changes), changedBytesText(right.changes));
}

} // namespace

void SignalExtremes::written(const MessageInfo& /*message*/, std::span<const unsigned long> ids) {
    constexpr Extremes none{0, 0, 0};
    for (const unsigned long id : ids) {
        const std::size_t signal = catalog.indexOf(id);
        const double value = ValueSample::of(*catalog.signals()[signal]).value;
        if (signal >= extremes.size()) {
            extremes.resize(catalog.signals().size(), none);
        }
        Extremes& known = extremes[signal];
        if (std::isnan(value)) {
            continue;
        }
        known.least = known.count == 0 ? value : std::min(known.least, value);
        known.greatest = known.count == 0 ? value : std::max(known.greatest, value);
        ++known.count;
    }
}

std::map<std::string, SignalExtremes::Extremes> SignalExtremes::byName() const {
    std::map<std::string, Extremes> named;
    for (std::size_t i = 0; i < extremes.size(); ++i) {
        if (extremes[i].count > 0) {
            named.emplace(catalog.signals()[i]->def.instance, extremes[i]);
        }
    }
    return named;
}

void compareTraces(const TraceContent& left, const TraceContent& right, double tolerance,
                   std::vector<Difference>& differences) {
    compareMaps(framesByName(left.survey), framesByName(right.survey), differences,
                [&](const std::string& name, const FrameStatistics* first, const FrameStatistics* second) {
                    compareFrames({name, tolerance, differences}, *first, *second);
                });
    compareMaps(left.signals, right.signals, differences,
                [&](const std::string& name, const auto& first, const auto& second) {
                    PropertyComparison compare(name, tolerance, differences);
                    compare.number("minimum", first.least, second.least);
                    compare.number("maximum", first.greatest, second.greatest);
                });
}

} // namespace rksignal
