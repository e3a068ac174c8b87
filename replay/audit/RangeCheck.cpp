// Rules out-of-range and no-text: values that the definition of their signal does not allow.
#include "audit/Checks.h"
#include "audit/Sightings.h"
#include "catalog/ReservedValues.h"
#include "signal/BitField.h"
#include "text/NumberText.h"

#include <bitset>
#include <cmath>

namespace rksignal {
namespace {

constexpr int mostTextBits = 8;

/// The raw values that have a text, if the texts are those of an enumeration: of a narrow number without unit
/// and scale that has texts for 0 or 1, and for at least half of the values up to the last one. Others only
/// name single values of a quantity.
std::bitset<256> enumeratedValues(const baseSignalDef_t& def) {
    std::bitset<256> values;
    const bool isPlain = def.type == signalValue_t::Unsigned && def.bits <= mostTextBits &&
                         def.unit.empty() && def.scale == 1 && def.offset == 0;
    if (!isPlain || def.valueDescriptions.size() < 2) {
        return values;
    }
    for (const auto& [raw, text] : def.valueDescriptions) {
        if (raw < values.size()) {
            values.set(raw);
        }
    }
    const std::uint64_t last = def.valueDescriptions.rbegin()->first;
    const bool isEnumeration = (values[0] || values[1]) && 2 * values.count() > last;
    return isEnumeration ? values : std::bitset<256>();
}

class RangeCheck final : public AuditCheck {
  public:
    explicit RangeCheck(AuditContext& context) : context(context) {}

    void written(const AuditedValue& value) override {
        State& state = stateOf(value.signal);
        if (state.isChecked && (value.raw != state.raw || !state.isSeen)) {
            state.isSeen = true;
            state.raw = value.raw;
            state.verdict = judge(value.signal, value.raw, state);
            state.isNew = true;
        }
        if (state.verdict != Verdict::Allowed) {
            addTo(state, value);
            state.isNew = false;
        }
    }

    void report(std::vector<Finding>& findings) override {
        for (std::size_t i = 0; i < states.size(); ++i) {
            report(i, AuditRule::OutOfRange, states[i].outside, findings);
            report(i, AuditRule::NoText, states[i].textless, findings);
        }
    }

  private:
    enum class Verdict : std::uint8_t { Allowed, Below, Above, Textless };

    struct State {
        bool isChecked = false;
        bool isSeen = false;
        bool isNew = false; ///< the value was another one before
        bool hasRange = false;
        Verdict verdict = Verdict::Allowed; ///< on `raw`
        std::uint64_t raw = 0;
        double minimum = 0; ///< with half a step of tolerance
        double maximum = 0;
        std::uint64_t notAvailable = ~std::uint64_t{0}; ///< all raw values from here on say so
        std::optional<std::uint64_t> invalid;
        std::bitset<256> texts; ///< none: any value is allowed
        std::optional<std::uint8_t> channel;
        Sightings outside;
        Sightings textless;
    };

    State& stateOf(std::size_t signal) {
        while (signal >= states.size()) {
            const std::size_t next = states.size();
            prepare(next, states.emplace_back());
        }
        return states[signal];
    }

    void prepare(std::size_t signal, State& state) const {
        const Catalog::Origin& origin = context.catalog.origin(signal);
        const SignalDefinition& definition = origin.definition();
        const baseSignalDef_t& def = context.signal(signal).def;
        const double tolerance = def.type == signalValue_t::Unsigned || def.type == signalValue_t::Signed
                                     ? std::abs(def.scale) / 2
                                     : 0;
        state.hasRange = definition.minimum != definition.maximum;
        state.minimum = definition.minimum - tolerance;
        state.maximum = definition.maximum + tolerance;
        state.texts = enumeratedValues(def);
        state.invalid = definition.invalid;
        if (def.type == signalValue_t::Unsigned && def.bits >= 2) {
            state.notAvailable = origin.message->isParameterGroup
                                     ? j1939::ReservedValues::ofWidth(def.bits).firstError
                                     : bitfield::ones(def.bits);
        }
        state.isChecked = state.hasRange || state.texts.any();
    }

    Verdict judge(std::size_t signal, std::uint64_t raw, const State& state) const {
        const bool isUnsigned = context.signal(signal).def.type == signalValue_t::Unsigned;
        if ((isUnsigned && raw >= state.notAvailable) || raw == state.invalid) {
            return Verdict::Allowed;
        }
        const double value = context.physical(signal, raw);
        if (state.hasRange && (value < state.minimum || !(value <= state.maximum))) {
            return value < state.minimum ? Verdict::Below : Verdict::Above;
        }
        return state.texts.any() && !state.texts[raw & 0xFF] ? Verdict::Textless : Verdict::Allowed;
    }

    /// Each value counts; those that are the same as before are no moments of their own.
    void addTo(State& state, const AuditedValue& value) {
        state.channel = value.origin.channel;
        Sightings& sightings = state.verdict == Verdict::Textless ? state.textless : state.outside;
        if (!state.isNew) {
            sightings.count(value.timestamp);
            return;
        }
        sightings.add(value.timestamp, [&] { return describe(value, state.verdict); });
    }

    std::string describe(const AuditedValue& value, Verdict verdict) const {
        const SignalDefinition& definition = context.catalog.origin(value.signal).definition();
        const std::string text = "is " + context.valueText(value.signal, value.raw);
        switch (verdict) {
        case Verdict::Below:
            return text + ", below " + doubleText(definition.minimum);
        case Verdict::Above:
            return text + ", above " + doubleText(definition.maximum);
        default:
            return text + ", which has no text";
        }
    }

    void report(std::size_t signal, AuditRule rule, Sightings& sightings,
                std::vector<Finding>& findings) const {
        if (sightings.counted() == 0) {
            return;
        }
        const SignalDefinition& definition = context.catalog.origin(signal).definition();
        Finding& finding = findings.emplace_back(context.about(rule, signal, states[signal].channel));
        const std::uint64_t count = sightings.counted();
        finding.text = std::to_string(count) + " value" + (count == 1 ? "" : "s") +
                       (rule == AuditRule::NoText ? " without a text in the table of values"
                                                  : " not from " + doubleText(definition.minimum) + " to " +
                                                        doubleText(definition.maximum));
        sightings.moveTo(finding);
    }

    AuditContext& context;
    std::deque<State> states; ///< by signal
};

} // namespace

std::unique_ptr<AuditCheck> makeRangeCheck(AuditContext& context) {
    return std::make_unique<RangeCheck>(context);
}

} // namespace rksignal
