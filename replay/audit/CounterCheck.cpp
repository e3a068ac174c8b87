// Rules counter-stuck and counter-jump: counters that messages carry so that receivers notice lost ones.
#include "audit/Checks.h"
#include "audit/Sightings.h"
#include "audit/SignalPatterns.h"
#include "signal/BitField.h"

#include <algorithm>
#include <array>
#include <map>
#include <unordered_map>
#include <utility>

namespace rksignal {
namespace {

// What is taken for a counter by itself: by the name, by at most 8 bits, and, at the end, by four of five
// steps being those of a counter.
constexpr std::array counterNames = {"*counter",  "counter*", "*_cnt",  "*_ctr",      "*alive*",
                                     "*rolling*", "*_rc",     "msgcnt", "*alivecnt*", "*_bz"};
constexpr int mostBitsByName = 8;
constexpr int mostBits = 32;
constexpr std::uint64_t stuckValues = 3;     // this often the same value in a row is stuck
constexpr std::uint64_t fewestSteps = 8;     // of a counter by name
constexpr std::uint64_t fewestConstant = 50; // values of one by name that never changes

class CounterCheck final : public AuditCheck {
  public:
    CounterCheck(AuditContext& context, const AuditSettings& settings)
        : context(context), patterns(settings.counters) {
        for (const std::string& pattern : patterns) {
            requireMatch(context, "--counter", pattern);
        }
        for (std::size_t i = 0; i < context.catalog.signals().size(); ++i) {
            roles.push_back(roleOf(i));
        }
    }

    void written(const AuditedValue& value) override {
        while (value.signal >= roles.size()) {
            roles.push_back(roleOf(roles.size()));
        }
        if (roles[value.signal] != Role::None) {
            const std::uint64_t key = std::uint64_t{value.signal} << 8 | value.origin.channel.value_or(0);
            State& state = states[key];
            if (state.count++ == 0) {
                begin(state, value);
            } else {
                step(state, value);
            }
            state.last = value.raw;
            state.lastTime = value.timestamp;
        }
    }

    void report(std::vector<Finding>& findings) override {
        std::vector<std::pair<std::uint64_t, State*>> sorted;
        for (auto& [key, state] : states) {
            sorted.emplace_back(key, &state);
        }
        std::ranges::sort(sorted, {}, &std::pair<std::uint64_t, State*>::first);
        for (auto& [key, state] : sorted) {
            report(key >> 8, *state, findings);
        }
    }

  private:
    enum class Role : std::uint8_t { None, ByName, Chosen };
    using Transition = std::pair<std::uint64_t, std::uint64_t>; ///< from one raw value to another

    struct Seen {
        std::uint64_t count = 0;
        std::uint64_t first = 0;
        std::uint64_t last = 0;
    };

    /// Of a counter on a channel.
    struct State {
        std::optional<std::uint8_t> channel;
        std::uint64_t mask = 0;
        std::uint64_t count = 0;
        std::uint64_t last = 0;
        std::uint64_t lastTime = 0;
        std::uint64_t lowest = 0;
        std::uint64_t highest = 0;
        std::uint64_t steps = 0;    ///< by one, or from the highest raw value to 0
        std::uint64_t repeats = 1;  ///< how often the last value came in a row
        std::uint64_t runBegin = 0; ///< when it came first
        std::uint64_t longestRun = 1;
        std::map<Transition, Seen> jumps; ///< at most `mostJumps`
        std::uint64_t otherJumps = 0;
        Sightings stuck;
    };

    static constexpr std::size_t mostJumps = 64;

    Role roleOf(std::size_t signal) const {
        const baseSignalDef_t& def = context.signal(signal).def;
        const std::size_t defined = context.catalog.definedSignal(signal);
        const bool isNumber = def.type == signalValue_t::Unsigned || def.type == signalValue_t::Signed;
        for (const std::string& pattern : patterns) {
            if (matchesInstance(context, signal, pattern) || matchesInstance(context, defined, pattern)) {
                if (!isNumber || def.bits > mostBits) {
                    throw Error("--counter " + pattern + ": " + def.instance +
                                " is no integer of at most 32 bits");
                }
                return Role::Chosen;
            }
        }
        const bool isCounter = isNumber && def.bits >= 2 && def.bits <= mostBitsByName && def.unit.empty() &&
                               matchesName(context, signal, counterNames);
        return isCounter ? Role::ByName : Role::None;
    }

    void begin(State& state, const AuditedValue& value) const {
        state.channel = value.origin.channel;
        state.mask = bitfield::ones(context.signal(value.signal).def.bits);
        state.lowest = state.highest = value.raw;
        state.runBegin = value.timestamp;
    }

    static void step(State& state, const AuditedValue& value) {
        state.lowest = std::min(state.lowest, value.raw);
        state.highest = std::max(state.highest, value.raw);
        if (value.raw == state.last) {
            ++state.repeats;
            return;
        }
        const bool wasStuck = endRun(state);
        if (((value.raw - state.last) & state.mask) == 1) {
            ++state.steps;
        } else if (!wasStuck) {
            addJump(state, {state.last, value.raw}, value.timestamp);
        }
        state.repeats = 1;
        state.runBegin = value.timestamp;
    }

    /// The value has changed, or there are no more. \return whether it was stuck
    static bool endRun(State& state) {
        state.longestRun = std::max(state.longestRun, state.repeats);
        if (state.repeats >= stuckValues) {
            state.stuck.add(state.runBegin, [&state] {
                return "is " + std::to_string(state.last & state.mask) + ' ' + std::to_string(state.repeats) +
                       " times";
            });
        } else if (state.repeats == 2) {
            addJump(state, {state.last, state.last}, state.lastTime);
        }
        return state.repeats >= stuckValues;
    }

    static void addJump(State& state, const Transition& transition, std::uint64_t time) {
        const auto found = state.jumps.find(transition);
        if (found == state.jumps.end() && state.jumps.size() >= mostJumps) {
            ++state.otherJumps;
            return;
        }
        Seen& seen = state.jumps[transition];
        seen.first = seen.count == 0 ? time : seen.first;
        seen.last = time;
        ++seen.count;
    }

    /// Counters need not use all values of their field: one that goes from its highest value to its lowest,
    /// more than once or to 0 or 1, begins anew there.
    static void removeWrap(State& state) {
        const auto wrap = state.jumps.find({state.highest, state.lowest});
        if (wrap != state.jumps.end() && (wrap->second.count > 1 || state.lowest <= 1)) {
            state.steps += wrap->second.count;
            state.jumps.erase(wrap);
        }
    }

    void report(std::size_t signal, State& state, std::vector<Finding>& findings) {
        const bool isChosen = roles[signal] == Role::Chosen;
        const bool neverChanges = state.lowest == state.highest;
        if (neverChanges && (state.count < (isChosen ? stuckValues : fewestConstant))) {
            return;
        }
        endRun(state);
        removeWrap(state);
        std::uint64_t jumps = state.otherJumps;
        for (const auto& [transition, seen] : state.jumps) {
            jumps += seen.count;
        }
        const bool counts =
            isChosen || neverChanges ||
            (state.steps >= fewestSteps && state.steps >= 4 * (jumps + state.stuck.counted()));
        if (counts && state.stuck.counted() > 0) {
            reportStuck(signal, state, neverChanges && !isChosen, findings);
        }
        if (counts && jumps > 0) {
            reportJumps(signal, state, jumps, findings);
        }
    }

    void reportStuck(std::size_t signal, State& state, bool isGuess, std::vector<Finding>& findings) const {
        Finding& finding =
            findings.emplace_back(context.about(AuditRule::CounterStuck, signal, state.channel));
        finding.severity = isGuess ? Severity::Warning : finding.severity;
        finding.text = state.lowest == state.highest
                           ? "never counts"
                           : "stays the same for up to " + std::to_string(state.longestRun) + " messages";
        state.stuck.moveTo(finding);
    }

    void reportJumps(std::size_t signal, const State& state, std::uint64_t jumps,
                     std::vector<Finding>& findings) const {
        Finding& finding =
            findings.emplace_back(context.about(AuditRule::CounterJump, signal, state.channel));
        finding.text = "does not count by one " + std::to_string(jumps) + " of " +
                       std::to_string(state.count - 1) + " times";
        finding.count = jumps;
        for (const auto& [transition, seen] : state.jumps) {
            const std::string from = std::to_string(transition.first & state.mask);
            const std::string to = std::to_string(transition.second & state.mask);
            finding.occurrences.push_back(
                {seen.first,
                 "goes from " + from + " to " + to +
                     (seen.count > 1 ? ", " + std::to_string(seen.count) + " times in all" : "")});
            finding.last = std::max(finding.last, seen.last);
        }
        std::ranges::sort(finding.occurrences, {}, &Occurrence::time);
        finding.occurrences.resize(std::min(finding.occurrences.size(), Sightings::maxKept));
        finding.first = finding.occurrences.empty() ? 0 : finding.occurrences.front().time;
    }

    AuditContext& context;
    std::vector<std::string> patterns;
    std::vector<Role> roles;                         ///< by signal
    std::unordered_map<std::uint64_t, State> states; ///< by signal and channel
};

} // namespace

std::unique_ptr<AuditCheck> makeCounterCheck(AuditContext& context, const AuditSettings& settings) {
    return std::make_unique<CounterCheck>(context, settings);
}

} // namespace rksignal
