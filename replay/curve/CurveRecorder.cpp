#include "curve/CurveRecorder.h"

#include "definition/RawNumber.h"
#include "survey/IntervalSketch.h"

#include <algorithm>
#include <deque>
#include <map>
#include <string>
#include <tuple>

namespace rksignal {
namespace {

constexpr std::size_t keptGaps = 100;
constexpr std::uint64_t longPause = 1'000'000'000;

/// When values that come together came.
struct CurveTiming {
    std::uint64_t latest = 0;
    bool isSeen = false;
    IntervalSketch intervals;
    GapList gaps{keptGaps};
    std::vector<Gap> breaks; ///< in the end
    std::uint64_t hold = 0;  ///< how long values count in these, in nanoseconds

    void add(std::uint64_t time) {
        if (isSeen && time > latest) {
            intervals.add(time - latest);
            gaps.add({latest, time - latest});
        }
        latest = time;
        isSeen = true;
    }

    /// `pauses` are those of all messages, which end at `end`.
    void findBreaks(std::uint64_t end, const std::vector<Gap>& pauses) {
        const std::uint64_t median = intervals.percentile(50);
        if (!isRegular(intervals, median)) {
            breaks = pauses;
            std::erase_if(breaks, [](const Gap& each) { return each.length < longPause; });
            return;
        }
        const std::uint64_t threshold = scaledInterval(endFactor, median);
        hold = median;
        breaks = gaps.above(threshold);
        if (end - latest > threshold) {
            breaks.push_back({latest, end - latest});
        }
    }
};

struct RecordedSignal {
    RecordedSignal(BaseSignal& signal, CurveTiming& timing, std::size_t maxPoints)
        : signal(signal), timing(timing), curve(signal.def, maxPoints) {}

    BaseSignal& signal;
    CurveTiming& timing;
    Curve curve;
};

/// Equal for signals that come together: their message, what their multiplexer selects, and the sender for
/// which they are instances; of inputs the signal itself.
using TimingKey = std::tuple<const MessageDefinition*, std::size_t, std::vector<ValueRange>, std::string>;

TimingKey timingKey(const Catalog& catalog, std::size_t signal) {
    constexpr std::size_t none = ~std::size_t{0};
    const Catalog::Origin& origin = catalog.origin(signal);
    TimingKey key{origin.message, none, {}, {}};
    if (std::holds_alternative<inputSignalDef_t>(origin.definition().record)) {
        std::get<1>(key) = origin.signal;
    } else if (const auto& multiplexing = origin.definition().multiplexing) {
        std::get<1>(key) = multiplexing->multiplexer.value_or(none);
        std::get<2>(key) = multiplexing->ranges;
    }
    if (origin.defined != signal) {
        const std::string& instance = catalog.signals()[signal]->def.instance;
        std::get<3>(key) = instance.substr(std::min(instance.rfind("@SA"), instance.size()));
    }
    return key;
}

} // namespace

class [[gnu::visibility("hidden")]] CurveRecorder::State {
  public:
    State(const Catalog& catalog, std::span<const std::size_t> wanted, const CurveSettings& settings)
        : catalog(catalog), mostPoints(settings.memory / sizeof(CurvePoint)),
          isWanted(catalog.signals().size()) {
        report.maxPoints = std::max(settings.maxPoints, Curve::fewestPoints);
        isWanted.assign(catalog.signals().size(), wanted.empty());
        for (const std::size_t signal : wanted) {
            isWanted[signal] = true;
        }
        addSignals();
    }

    void addSignals();
    void reached(std::uint64_t timestamp);
    void written(std::uint64_t timestamp, std::span<const unsigned long> ids);
    void withdrawn(std::uint64_t timestamp, std::span<const unsigned long> ids);
    void finish();

    const Catalog& catalog;
    std::vector<RecordedSignal*> recorded; ///< by index in Catalog::signals()
    std::vector<Gap> gaps;
    CurveReport report;

  private:
    std::uint64_t advance(std::uint64_t timestamp) {
        report.last = std::max(report.last, timestamp);
        return report.last;
    }
    void add(RecordedSignal & signal, std::uint64_t time);
    void shareMemory();

    const std::size_t mostPoints;     ///< of all curves
    std::size_t points = 0;           ///< for which curves have memory
    std::vector<bool> isWanted;       ///< by index of the definition's signal
    std::deque<RecordedSignal> stock; // where they stay
    std::map<TimingKey, CurveTiming> timings;
    CurveTiming messages;
};

void CurveRecorder::State::addSignals() {
    const auto& signals = catalog.signals();
    for (std::size_t i = recorded.size(); i < signals.size(); ++i) {
        const std::size_t defined = catalog.definedSignal(i);
        const bool records = i < isWanted.size() && isWanted[i];
        RecordedSignal* added = nullptr;
        if (records || (defined < isWanted.size() && isWanted[defined])) {
            CurveTiming& timing = timings[timingKey(catalog, i)];
            added = &stock.emplace_back(*signals[i], timing, report.maxPoints);
        }
        recorded.push_back(added);
    }
}

void CurveRecorder::State::reached(std::uint64_t timestamp) {
    if (report.messages++ == 0) {
        report.first = timestamp;
    }
    report.backwards += timestamp < report.last ? 1U : 0U;
    messages.add(advance(timestamp));
}

void CurveRecorder::State::written(std::uint64_t timestamp, std::span<const unsigned long> ids) {
    const std::uint64_t time = advance(timestamp);
    for (const unsigned long id : ids) {
        if (RecordedSignal* const signal = recorded[catalog.indexOf(id)]) {
            add(*signal, time);
        }
    }
}

void CurveRecorder::State::add(RecordedSignal& each, std::uint64_t time) {
    unsigned long raw = 0;
    unsigned long timestamp = 0;
    if (!each.signal.read(raw, timestamp)) {
        return;
    }
    if (each.timing.latest != time || !each.timing.isSeen) {
        each.timing.add(time);
    }
    const std::size_t former = each.curve.capacity();
    each.curve.add(time, numberOfRaw(each.signal.def.type, raw));
    if (each.curve.capacity() != former) {
        points += each.curve.capacity() - former;
        shareMemory();
    }
}

void CurveRecorder::State::shareMemory() {
    while (points > mostPoints && report.maxPoints > Curve::fewestPoints) {
        report.maxPoints = std::max(report.maxPoints / 2, Curve::fewestPoints);
        points = 0;
        for (RecordedSignal& each : stock) {
            each.curve.limit(report.maxPoints);
            points += each.curve.capacity();
        }
    }
}

void CurveRecorder::State::withdrawn(std::uint64_t timestamp, std::span<const unsigned long> ids) {
    const std::uint64_t time = advance(timestamp);
    for (const unsigned long id : ids) {
        if (RecordedSignal* const signal = recorded[catalog.indexOf(id)]) {
            signal->curve.breakOff(time);
        }
    }
}

void CurveRecorder::State::finish() {
    gaps = messages.gaps.above(longestUsualInterval(messages.intervals));
    for (auto& [key, timing] : timings) {
        timing.findBreaks(report.last, gaps);
    }
    for (RecordedSignal& each : stock) {
        each.curve.breakAt(each.timing.breaks, each.timing.hold);
    }
}

CurveRecorder::CurveRecorder(const Catalog& catalog, std::span<const std::size_t> signals,
                             const CurveSettings& settings)
    : state(std::make_unique<State>(catalog, signals, settings)) {}

CurveRecorder::~CurveRecorder() = default;

void CurveRecorder::reached(std::uint64_t timestamp) {
    state->reached(timestamp);
}

void CurveRecorder::signalsAdded() {
    state->addSignals();
}

void CurveRecorder::written(const MessageInfo& message, std::span<const unsigned long> ids) {
    state->written(message.timestamp, ids);
}

void CurveRecorder::withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) {
    state->withdrawn(message.timestamp, ids);
}

void CurveRecorder::finish() {
    state->finish();
}

std::vector<std::size_t> CurveRecorder::signals() const {
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < state->recorded.size(); ++i) {
        if (state->recorded[i] != nullptr) {
            indices.push_back(i);
        }
    }
    return indices;
}

bool CurveRecorder::isRecorded(std::size_t signal) const {
    return signal < state->recorded.size() && state->recorded[signal] != nullptr;
}

const Curve& CurveRecorder::curve(std::size_t signal) const {
    return state->recorded[signal]->curve;
}

std::span<const Gap> CurveRecorder::gaps() const {
    return state->gaps;
}

const CurveReport& CurveRecorder::report() const {
    return state->report;
}

} // namespace rksignal
