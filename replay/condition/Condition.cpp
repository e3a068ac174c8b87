#include "condition/Condition.h"

#include "condition/CompiledCondition.h"
#include "condition/ConditionCheck.h"
#include "condition/ConditionState.h"
#include "condition/Explanation.h"

#include <sstream>
#include <unordered_map>
#include <utility>

namespace rksignal {
namespace {

/// A single `=` reads like a comparison.
Remark nameOfSignal(const ConditionText& text) {
    return {text.origin, Severity::Error, "the name " + text.name + " is that of a signal",
            "to compare it write '" + text.name + " == " + text.expression +
                "', to name the condition write 'OTHER_NAME = " + text.expression + "'"};
}

Catalog& withSources(Catalog& catalog, const std::string& text) {
    catalog.addSources(text);
    return catalog;
}

std::string withoutReason(const BaseSignal& /*signal*/) {
    return "no value";
}

} // namespace

Condition::Condition(const std::string& text, Catalog& catalog, const ConditionOptions& options)
    : Condition(parseCondition(text), withSources(catalog, text).storage(), options) {}

Condition::Condition(const ConditionText& text, SignalStorage& signals, const ConditionOptions& options)
    : state(std::make_unique<State>(State{text, options.edgeTrigger})) {
    if (text.isNamed && signals.instancesByName.contains(text.name)) {
        state->remarks.add(nameOfSignal(text));
        return;
    }
    state->compiled = CompiledCondition::compile(text, signals, options, state->remarks);
    if (state->compiled != nullptr) {
        const auto& read = state->compiled->parser().signals;
        state->signals.assign(read.begin(), read.end());
        checkCondition(*state->compiled, state->remarks);
    }
}

Condition::Condition(std::unique_ptr<State> state) : state(std::move(state)) {}

Condition::~Condition() = default;
Condition::Condition(Condition&&) noexcept = default;
Condition& Condition::operator=(Condition&&) noexcept = default;

bool Condition::isUsable() const {
    return state->compiled != nullptr;
}

const RemarkList& Condition::remarks() const {
    return state->remarks;
}

const std::string& Condition::name() const {
    return state->text.name;
}

const std::string& Condition::expression() const {
    return state->text.expression;
}

const std::string& Condition::origin() const {
    return state->text.origin;
}

const std::string& Condition::translation() const {
    return state->compiled->translation();
}

std::span<BaseSignal* const> Condition::signals() const {
    return state->signals;
}

std::optional<bool> Condition::evaluate() {
    bool result = false;
    return state->compiled->parser().getExpResult(result) ? std::optional(result) : std::nullopt;
}

bool Condition::fires() {
    const std::optional<bool> now = evaluate();
    return now && state->fires(*now);
}

std::string Condition::explain(const UnknownReason& reason) const {
    std::ostringstream text;
    rksignal::explain(*state->compiled, reason ? reason : withoutReason, text);
    return text.str();
}

std::vector<Condition> compileConditions(const std::vector<ConditionText>& texts, SignalStorage& signals,
                                         const ConditionOptions& options) {
    std::vector<Condition> conditions;
    std::unordered_map<std::string, std::string> origins; // by name
    for (const ConditionText& text : texts) {
        const auto [earlier, isFree] = origins.try_emplace(text.name, text.origin);
        if (isFree) {
            conditions.emplace_back(text, signals, options);
            continue;
        }
        auto unusable = std::make_unique<Condition::State>(Condition::State{text});
        unusable->remarks.add(
            {text.origin, Severity::Error, "the name " + text.name + " is taken, by " + earlier->second});
        conditions.push_back(Condition(std::move(unusable)));
    }
    return conditions;
}

std::vector<Condition> compileConditions(const std::vector<ConditionText>& texts, Catalog& catalog,
                                         const ConditionOptions& options) {
    for (const ConditionText& text : texts) {
        catalog.addSources(text.expression);
    }
    return compileConditions(texts, catalog.storage(), options);
}

} // namespace rksignal
