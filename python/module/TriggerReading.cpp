#include "TriggerReading.h"

#include "Errors.h"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/shared_ptr.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

namespace rksignal::python {
namespace {

/// Messages that are read on behind a firing before it is handed over: which takes as long as some hundred of
/// them.
constexpr std::size_t messagesBehind = 4096;

std::shared_ptr<TriggerReading> readTriggers(const Definitions& definitions, const nb::dict& request,
                                             const nb::dict& settings) {
    TriggerRequest wanted;
    wanted.conditions = nb::cast<decltype(wanted.conditions)>(settings["conditions"]);
    wanted.options.edgeTrigger = nb::cast<bool>(settings["edge"]);
    wanted.options.allowUnknown = nb::cast<bool>(settings["allow_unknown"]);
    wanted.timeout = nb::cast<std::optional<std::uint64_t>>(settings["timeout"]);
    wanted.explain = nb::cast<bool>(settings["explain"]);
    return std::make_shared<TriggerReading>(definitions, traceRequest(request), wanted);
}

} // namespace

TriggerReading::TriggerReading(const Definitions& definitions, const TraceRequest& request,
                               const TriggerRequest& wanted)
    : catalog(definitions.catalog()), reading(request, definitions.channels()),
      triggers(*catalog, compile(wanted), {.timeout = wanted.timeout}), replay(*catalog, triggers),
      explains(wanted.explain) {
    triggers.addFiringSink(*this);
}

std::vector<Condition> TriggerReading::compile(const TriggerRequest& wanted) {
    std::vector<ConditionText> texts;
    for (const auto& [name, expression] : wanted.conditions) {
        texts.push_back({name, expression, "condition " + name, true});
    }
    std::vector<Condition> conditions = compileConditions(texts, *catalog, wanted.options);
    RemarkList errors;
    for (const Condition& condition : conditions) {
        for (const Remark& remark : condition.remarks()) {
            if (remark.severity == Severity::Error) {
                errors.add(remark);
            } else {
                conditionNotes.append(remarkTuple(remark));
            }
        }
    }
    if (!errors.empty()) {
        throw RemarkError(std::move(errors));
    }
    return conditions;
}

nb::list TriggerReading::next() {
    kept.clear();
    if (!hasEnded) {
        reading.run([this] { readOn(); });
    }
    nb::list firings;
    for (const Kept& firing : kept) {
        firings.append(tupleOf(firing));
    }
    return firings;
}

void TriggerReading::readOn() {
    Trace& trace = reading.trace();
    for (std::size_t behind = 0; behind < messagesBehind; behind += kept.empty() ? 0 : 1) {
        if (!trace.next()) {
            hasEnded = true;
            replay.finish();
            triggers.finish();
            return;
        }
        trace.deliver(replay);
    }
}

void TriggerReading::fired(const Firing& firing) {
    Kept& added =
        kept.emplace_back(Kept{&firing.condition, firing.number, firing.timestamp, firing.origin, {}, {}});
    for (BaseSignal* const signal : firing.condition.signals()) {
        double value = 0;
        unsigned long timestamp = 0;
        const bool isKnown = signal->read(value, timestamp);
        added.values.push_back({signal, isKnown ? std::optional(value) : std::nullopt});
    }
    if (explains) {
        added.explanation = triggers.explain(firing.condition);
        added.explanation.erase(added.explanation.find_last_not_of('\n') + 1);
    }
}

nb::tuple TriggerReading::tupleOf(const Kept& firing) {
    nb::dict values;
    for (const Value& value : firing.values) {
        values[textOf(value.signal->def.instance)] = value.number ? nb::cast(*value.number) : nb::none();
    }
    nb::object channel = nb::none();
    nb::object bus = nb::none();
    if (firing.origin) {
        const std::string_view name = kindName(firing.origin->kind);
        channel = firing.origin->channel ? nb::cast(*firing.origin->channel) : nb::none();
        bus = nb::str(name.data(), name.size());
    }
    return nb::make_tuple(textOf(firing.condition->name()), firing.timestamp, firing.number, channel, bus,
                          values, textOf(firing.explanation));
}

void bindTriggerReading(nb::module_& module) {
    nb::class_<TriggerReading>(module, "TriggerReading")
        .def("next", &TriggerReading::next)
        .def("remarks", &TriggerReading::remarks)
        .def("condition_remarks", &TriggerReading::conditionRemarks);
    module.def("read_triggers", &readTriggers, nb::arg("definitions"), nb::arg("request"),
               nb::arg("settings"));
}

} // namespace rksignal::python
