#include "watch/WatchModel.h"

#include "output/TextWidth.h"
#include "text/NumberText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fnmatch.h>

namespace rksignal {
namespace {

constexpr std::uint64_t oneSecond = 1'000'000'000;

/// Where the clocks of two computers differ, a value may come a little before its time.
constexpr std::uint64_t skew = oneSecond;

template <class... Numbers>
std::string formatted(const char* format, Numbers... numbers) {
    char text[48];
    std::snprintf(text, sizeof text, format, numbers...);
    return text;
}

std::string durationText(std::uint64_t nanoseconds) {
    const std::uint64_t seconds = nanoseconds / oneSecond;
    if (seconds < 10) {
        return formatted("%.1fs", std::floor(static_cast<double>(nanoseconds) / 1e8) / 10);
    }
    if (seconds < 60) {
        return formatted("%llus", static_cast<unsigned long long>(seconds));
    }
    const std::uint64_t minutes = seconds / 60;
    const struct {
        const char* format;
        std::uint64_t great, small;
    } forms[] = {{"%llum%02llus", minutes, seconds % 60},
                 {"%lluh%02llum", minutes / 60, minutes % 60},
                 {"%llud%02lluh", minutes / 1440, minutes / 60 % 24}};
    const auto& form = forms[minutes < 60 ? 0 : minutes < 1440 ? 1 : 2];
    return formatted(form.format, static_cast<unsigned long long>(form.great),
                     static_cast<unsigned long long>(form.small));
}

std::string rateText(const SignalTrack& track, std::uint64_t closest) {
    const std::uint64_t period = track.meanPeriod();
    if (period == 0) {
        return {};
    }
    if (period < closest) { // values may have come in between
        return formatted(">%.0f", 1e9 / static_cast<double>(closest));
    }
    const double rate = 1e9 / static_cast<double>(period);
    return formatted(rate < 9.95 ? "%.1f" : "%.0f", rate);
}

bool isPattern(const std::string& text) {
    return text.find_first_of("*?[") != text.npos;
}

} // namespace

const char* nameOf(WatchOrder order) {
    constexpr std::array<const char*, watchOrders> names = {"definition", "name", "age", "rate", "changed"};
    return names.at(static_cast<std::size_t>(order));
}

std::string ageText(std::uint64_t timestamp, std::uint64_t wall) {
    if (timestamp > wall) {
        return timestamp - wall > skew ? "in " + durationText(timestamp - wall) : "0.0s";
    }
    return durationText(wall - timestamp);
}

std::string absenceText(SlotReplay::Connection connection, SlotView::Attachment attachment) {
    switch (connection) {
    case SlotReplay::Connection::NoValue:
        return "no value";
    case SlotReplay::Connection::Held:
        return "held";
    case SlotReplay::Connection::Missing:
        return "missing";
    case SlotReplay::Connection::Removed:
        return "removed";
    case SlotReplay::Connection::Refused:
        return attachment == SlotView::Attachment::NotPermitted  ? "denied"
               : attachment == SlotView::Attachment::OtherSignal ? "foreign"
               : attachment == SlotView::Attachment::WrongSize   ? "bad size"
                                                                 : "failed";
    default:
        return {};
    }
}

WatchModel::WatchModel(const Catalog& catalog, const std::vector<bool>& wanted, const WatchSettings& settings)
    : catalog(catalog), settings(settings), tracks(catalog.signals().size()), levels(tracks.size()),
      multiplexers(tracks.size()) {
    std::vector<std::vector<std::size_t>> branches(tracks.size());
    std::vector<std::size_t> roots;
    for (std::size_t first = 0, next = 0; first < tracks.size(); first = next) { // message by message
        const MessageDefinition* const message = catalog.origin(first).message;
        std::vector<std::size_t> indices(message->signals.size(), tracks.size());
        for (next = first; next < tracks.size() && catalog.origin(next).message == message &&
                           indices[catalog.origin(next).signal] == tracks.size();
             ++next) {
            indices[catalog.origin(next).signal] = next;
        }
        for (std::size_t signal = first; signal < next; ++signal) {
            const auto& multiplexing = catalog.origin(signal).definition().multiplexing;
            const std::size_t parent = multiplexing && multiplexing->multiplexer
                                           ? indices[*multiplexing->multiplexer]
                                           : tracks.size();
            multiplexers[signal] = parent == tracks.size() ? signal : parent;
            (parent == tracks.size() ? roots : branches[parent]).push_back(signal);
        }
    }
    std::vector<std::pair<std::size_t, std::size_t>> open; // signal and level, the next one last
    for (auto root = roots.rbegin(); root != roots.rend(); ++root) {
        open.emplace_back(*root, 0);
    }
    while (!open.empty()) {
        const auto [signal, level] = open.back();
        open.pop_back();
        levels[signal] = level;
        if (wanted.empty() || wanted[signal]) {
            add(signal);
        }
        for (auto branch = branches[signal].rbegin(); branch != branches[signal].rend(); ++branch) {
            open.emplace_back(*branch, level + 1);
        }
    }
    sort();
}

void WatchModel::add(std::size_t signal) {
    const baseSignalDef_t& definition = catalog.signals()[signal]->def;
    all.push_back(signal);
    nameWidth = std::max(nameWidth, 2 * levels[signal] + textWidth(definition.instance));
    unitWidth = std::max(unitWidth, textWidth(definition.unit));
    hasValueTexts = hasValueTexts || !definition.valueDescriptions.empty() ||
                    catalog.origin(signal).message->kind == SignalKind::Gps;
}

void WatchModel::written(const MessageInfo& message, std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        const std::size_t index = catalog.indexOf(id);
        BaseSignal& signal = *catalog.signals()[index];
        SignalTrack& track = tracks[index];
        const bool isFirst = !track.hasValue;
        double value = 0;
        unsigned long timestamp = 0;
        signal.read(value, timestamp);
        track.note(value, signal.slot->raw, message.timestamp, track.seenAt >= closeSince);
        track.seenAt = now;
        if (isFirst || signal.isModified()) {
            track.changedAt = now;
            track.changedNumber = ++changes;
        }
    }
}

void WatchModel::withdrawn(const MessageInfo& /*message*/, std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        SignalTrack& track = tracks[catalog.indexOf(id)];
        track.hasValue = false;
        track.changedAt = now;
        track.changedNumber = ++changes;
    }
}

void WatchModel::startPoll(const WatchTime& time, bool isClose) {
    now = time.steady;
    if (!isClose) {
        closeSince = now;
    }
}

void WatchModel::settleRates() {
    for (const std::size_t signal : all) {
        tracks[signal].settleRate();
    }
}

void WatchModel::sample() {
    for (const std::size_t signal : all) {
        tracks[signal].sample();
    }
}

void WatchModel::setFilter(const std::string& text) {
    filterText = text;
    sort();
}

void WatchModel::setOrder(WatchOrder order, bool isReverse) {
    sortOrder = order;
    reversed = isReverse;
    sort();
}

void WatchModel::setOnlyValues(bool only) {
    hidesEmpty = only;
    sort();
}

bool WatchModel::matches(std::size_t signal) const {
    if (hidesEmpty && !tracks[signal].hadValue) {
        return false;
    }
    const char* const name = catalog.signals()[signal]->def.instance.c_str();
    return isPattern(filterText) ? fnmatch(filterText.c_str(), name, FNM_CASEFOLD) == 0
                                 : strcasestr(name, filterText.c_str()) != nullptr;
}

void WatchModel::sort() {
    visible.clear();
    std::copy_if(all.begin(), all.end(), std::back_inserter(visible),
                 [this](std::size_t signal) { return matches(signal); });
    const auto by = [this](auto key) {
        std::ranges::stable_sort(visible, [&](std::size_t left, std::size_t right) {
            return key(tracks[left], left) < key(tracks[right], right);
        });
    };
    const auto latest = [](std::uint64_t number) { return ~number; };
    switch (sortOrder) {
    case WatchOrder::Definition:
        break;
    case WatchOrder::Name:
        by([this](const SignalTrack&, std::size_t signal) -> const std::string& {
            return catalog.signals()[signal]->def.instance;
        });
        break;
    case WatchOrder::Age: // the youngest first, those without a value last
        by([&](const SignalTrack& track, std::size_t) {
            return std::pair(!track.hasValue, latest(track.timestamp));
        });
        break;
    case WatchOrder::Rate: // the most frequent first
        by([](const SignalTrack& track, std::size_t) {
            return std::pair(!track.hasValue || track.meanPeriod() == 0, track.meanPeriod());
        });
        break;
    case WatchOrder::Changed: // the last one first
        by([&](const SignalTrack& track, std::size_t) { return latest(track.changedNumber); });
        break;
    }
    if (reversed) {
        std::ranges::reverse(visible);
    }
}

bool WatchModel::isActive(std::size_t signal) const {
    for (; multiplexers[signal] != signal; signal = multiplexers[signal]) {
        const SignalTrack& multiplexer = tracks[multiplexers[signal]];
        const std::uint64_t selected = multiplexer.raw & catalog.signals()[multiplexers[signal]]->d_maksBits;
        const auto& ranges = catalog.origin(signal).definition().multiplexing->ranges;
        const auto holds = [selected](const ValueRange& range) {
            return range.first <= selected && selected <= range.second;
        };
        // A multiplexer that is not followed, or has no value, says nothing.
        if (multiplexer.hasValue && std::ranges::none_of(ranges, holds)) {
            return false;
        }
    }
    return true;
}

WatchRow WatchModel::row(std::size_t signal, const SlotReplay& slots, const WatchTime& time) const {
    const SignalTrack& track = tracks[signal];
    const BaseSignal& shown = *catalog.signals()[signal];
    const std::string absence = absenceText(slots.connection(signal), slots.view(signal).attachment());
    const bool isStale = track.hasValue && time.wall > track.timestamp &&
                         time.wall - track.timestamp > staleAge(catalog, signal, settings.stale);
    const bool isLive = track.hasValue && !isStale;
    return {.name = shown.def.instance,
            .level = levels[signal],
            .value = track.hadValue ? doubleText(track.value) : "",
            .unit = shown.def.unit,
            .text = track.hadValue ? shown.getValueDescription(track.raw) : "",
            .age = absence.empty() ? ageText(track.timestamp, time.wall) : absence,
            // each second begins with looks at a tenth of the interval
            .rate = isLive ? rateText(track, settings.interval / 10 * 3 / 2) : "",
            .history = track.history(),
            .isChanged = track.changedAt != 0 && time.steady - track.changedAt < oneSecond,
            .isDim = !isLive || !absence.empty() || !isActive(signal)};
}

std::size_t WatchModel::fresh(const WatchTime& time) const {
    return static_cast<std::size_t>(std::ranges::count_if(all, [&](std::size_t signal) {
        const SignalTrack& track = tracks[signal];
        return track.hasValue && (track.timestamp >= time.wall ||
                                  time.wall - track.timestamp <= staleAge(catalog, signal, settings.stale));
    }));
}

} // namespace rksignal
