#include "serve/LiveJson.h"

#include "definition/RawNumber.h"
#include "grid/SignalGrid.h"
#include "text/NumberText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

namespace rksignal {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t mostTexts = 1000; ///< of a signal; raw values behind them are shown as numbers

/// Bytes that are no UTF-8 become U+FFFD.
std::string dumped(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// An integer where it is one that all readers have exactly; a text if JSON has no such number.
Json jsonNumber(double value) {
    constexpr double exact = 9'007'199'254'740'992; // 2^53
    if (!std::isfinite(value)) {
        return doubleText(value);
    }
    return std::abs(value) <= exact && value == std::floor(value) ? Json(static_cast<std::int64_t>(value))
                                                                  : Json(value);
}

bool isFloatingType(const baseSignalDef_t& definition) {
    return definition.type == signalValue_t::Float || definition.type == signalValue_t::Double;
}

/// A raw value as the page looks up texts: the number of JavaScript as text.
std::string keyOfRaw(std::uint64_t raw, const baseSignalDef_t& definition) {
    if (isFloatingType(definition)) {
        return doubleText(numberOfRaw(definition.type, raw));
    }
    char text[maxNumberText];
    return {text, writeRaw(text, raw, definition.type)};
}

Json textsOf(const baseSignalDef_t& definition) {
    Json texts = Json::object();
    for (const auto& [raw, text] : definition.valueDescriptions) {
        if (texts.size() == mostTexts) {
            break;
        }
        texts[keyOfRaw(raw, definition)] = text;
    }
    return texts;
}

/// As the page has times; negative before its origin.
std::int64_t microseconds(const Live& live, std::uint64_t time) {
    return static_cast<std::int64_t>(time - live.origin) / 1000;
}

Json signalJson(const Live& live, std::size_t signal) {
    const baseSignalDef_t& definition = live.catalog.signals()[signal]->def;
    const bool hasTexts = !definition.valueDescriptions.empty();
    const char* const kind = hasTexts ? "states" : isContinuous(definition) ? "line" : "step";
    return {{"instance", definition.instance},
            {"message", live.catalog.origin(signal).message->name},
            {"unit", definition.unit},
            {"comment", definition.comment},
            {"kind", kind},
            {"float", isFloatingType(definition)},
            {"factor", jsonNumber(definition.scale)},
            {"offset", jsonNumber(definition.offset)},
            {"texts", textsOf(definition)},
            {"stale", staleAge(live.catalog, signal, live.settings.staleAfter) / 1000}};
}

void append(std::string& out, std::integral auto number) {
    std::array<char, maxNumberText> text{};
    out.append(text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr);
}

void append(std::string& out, double number) {
    std::array<char, maxNumberText> text{};
    const std::string_view shown(text.data(),
                                 static_cast<std::size_t>(writeDouble(text.data(), number) - text.data()));
    const bool isNumber = std::isfinite(number);
    out += isNumber ? "" : "\"";
    out += shown;
    out += isNumber ? "" : "\"";
}

/// Begins an element of a list: `,"NAME":[` before the first, a comma before others.
void beginElement(std::string& out, std::string_view name, bool& isFirst) {
    if (std::exchange(isFirst, false)) {
        out.append(",\"").append(name).append("\":[");
    } else {
        out += ',';
    }
}

void appendValues(const Live& live, std::uint64_t seen, std::string& out) {
    const std::span<const LiveValue> values = live.values.all();
    bool isFirst = true;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const LiveValue& value = values[i];
        if (value.version <= seen || value.updates == 0) {
            continue;
        }
        beginElement(out, "values", isFirst);
        out += '[';
        append(out, i);
        out += ',';
        if (value.hasValue) {
            append(out, numberOfRaw(live.catalog.signals()[i]->def.type, value.raw));
        } else {
            out += "null";
        }
        out += ',';
        append(out, microseconds(live, value.timestamp));
        out += ',';
        append(out, value.updates);
        out += ']';
    }
    out += isFirst ? "" : "]";
}

void appendConnections(const Live& live, std::uint64_t seen, std::string& out) {
    const std::span<const LiveValue> values = live.values.all();
    bool isFirst = true;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i].connectionVersion > seen) {
            beginElement(out, "connections", isFirst);
            out += '[';
            append(out, i);
            out.append(",\"").append(connectionName(values[i].connection)).append("\"]");
        }
    }
    out += isFirst ? "" : "]";
}

std::string_view stateName(const std::optional<bool>& isTrue) {
    return !isTrue ? "null" : *isTrue ? "true" : "false";
}

void appendStates(const Live& live, std::uint64_t seen, std::string& out) {
    bool isFirst = true;
    for (std::size_t i = 0; i < live.states.size(); ++i) {
        const TriggerState& state = live.states[i];
        if (state.version > seen) {
            beginElement(out, "states", isFirst);
            out += '[';
            append(out, i);
            out.append(",").append(stateName(state.isTrue)).append(",");
            append(out, state.firings);
            out += ']';
        }
    }
    out += isFirst ? "" : "]";
}

Json firingsOf(const Live& live, std::size_t trigger) {
    Json all = Json::array();
    for (const KeptFiring& firing : live.firings.firings(trigger)) {
        all.push_back({{"at", microseconds(live, firing.time)},
                       {"until", firing.end ? Json(microseconds(live, *firing.end)) : Json()},
                       {"why", firing.why}});
    }
    return all;
}

} // namespace

std::string_view connectionName(SlotReplay::Connection connection) {
    constexpr std::array<std::string_view, SlotReplay::connections> names = {
        "unwanted", "live", "no value", "held", "missing", "removed", "refused"};
    return names[static_cast<std::size_t>(connection)];
}

std::string signalsJson(const Live& live, std::string_view program) {
    Json signals = Json::array();
    for (std::size_t i = 0; i < live.catalog.signals().size(); ++i) {
        signals.push_back(signalJson(live, i));
    }
    Json conditions = Json::array();
    for (std::size_t i = 0; i < live.triggers.size(); ++i) {
        Json used = Json::array();
        for (const BaseSignal* const signal : live.triggers.condition(i).signals()) {
            used.push_back(live.catalog.indexOf(signal->id));
        }
        const Condition& condition = live.triggers.condition(i);
        conditions.push_back(
            {{"name", condition.name()}, {"text", condition.expression()}, {"signals", used}});
    }
    return dumped({{"program", program},
                   {"run", std::to_string(live.start)},
                   {"origin", std::to_string(live.origin)},
                   {"history", live.settings.history / 1000},
                   {"signals", signals},
                   {"conditions", conditions}});
}

std::string valuesJson(const Live& live) {
    Json all = Json::array();
    for (std::size_t i = 0; i < live.catalog.signals().size(); ++i) {
        const LiveValue& value = live.values.all()[i];
        const baseSignalDef_t& definition = live.catalog.signals()[i]->def;
        Json one = {{"instance", definition.instance},
                    {"connection", connectionName(value.connection)},
                    {"value", nullptr},
                    {"unit", definition.unit}};
        if (value.hasValue) {
            const double number = numberOfRaw(definition.type, value.raw);
            one["value"] = jsonNumber(number * definition.scale + definition.offset);
            one["raw"] = value.raw;
            if (const std::string* const text = textOfNumber(definition, number)) {
                one["text"] = *text;
            }
            one["timestamp"] = value.timestamp;
        }
        one["updates"] = value.updates;
        all.push_back(std::move(one));
    }
    return dumped({{"time", live.values.now()}, {"values", std::move(all)}});
}

std::string triggersJson(const Live& live) {
    Json all = Json::array();
    for (std::size_t i = 0; i < live.triggers.size(); ++i) {
        const Condition& condition = live.triggers.condition(i);
        const std::optional<bool>& isTrue = live.states[i].isTrue;
        all.push_back({{"name", condition.name()},
                       {"text", condition.expression()},
                       {"state", isTrue ? Json(*isTrue) : Json()},
                       {"why", live.triggers.explain(condition)},
                       {"firings", live.states[i].firings},
                       {"last", firingsOf(live, i)}});
    }
    return dumped({{"conditions", std::move(all)}});
}

std::string curvesJson(const Live& live, std::span<const std::size_t> signals, std::uint64_t span,
                       std::size_t columns) {
    const std::uint64_t now = live.values.now();
    Json curves = Json::array();
    for (const std::size_t signal : signals) {
        Json times = Json::array();
        Json values = Json::array();
        for (const CurvePoint& point : live.curves.points(signal, now - std::min(now, span), columns)) {
            times.push_back(microseconds(live, point.time));
            values.push_back(std::isnan(point.value) ? Json() : jsonNumber(point.value));
        }
        curves.push_back({{"signal", signal}, {"times", std::move(times)}, {"values", std::move(values)}});
    }
    return dumped({{"curves", std::move(curves)}});
}

void writeEvent(const Live& live, std::uint64_t& seen, std::string& out) {
    out = "data: {\"now\":";
    append(out, microseconds(live, live.values.now()));
    if (seen == 0) {
        out.append(",\"run\":\"").append(std::to_string(live.start)).append("\"");
    }
    appendValues(live, seen, out);
    appendConnections(live, seen, out);
    appendStates(live, seen, out);
    out += "}\n\n";
    seen = live.version;
}

} // namespace rksignal
