#include "serve/OpenMetrics.h"

#include "definition/RawNumber.h"
#include "serve/LiveJson.h"
#include "text/NumberText.h"

#include <array>
#include <cmath>
#include <nlohmann/json.hpp>

namespace rksignal {
namespace {

constexpr double nanosecondsPerSecond = 1e9;

/// A label's value: of bytes that are no UTF-8 becomes U+FFFD.
std::string escapedLabel(std::string_view text) {
    using nlohmann::json;
    const std::string valid =
        json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace)).get<std::string>();
    std::string out;
    for (const char c : valid) {
        if (c == '\\' || c == '"') {
            out += '\\';
        }
        out += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return out;
}

std::string sampleText(double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? "+Inf" : "-Inf";
    }
    return doubleText(value);
}

/// Puts the text together, a family of metrics after the other.
class MetricsText {
  public:
    void family(std::string_view name, std::string_view type, std::string_view help,
                std::string_view unit = {}) {
        text.append("# TYPE ").append(name).append(" ").append(type).append("\n");
        if (!unit.empty()) {
            text.append("# UNIT ").append(name).append(" ").append(unit).append("\n");
        }
        text.append("# HELP ").append(name).append(" ").append(help).append("\n");
    }

    void sample(std::string_view name, std::string_view labels, const std::string& value) {
        text.append(name);
        if (!labels.empty()) {
            text.append("{").append(labels).append("}");
        }
        text.append(" ").append(value).append("\n");
    }

    std::string finish() {
        text += "# EOF\n";
        return std::move(text);
    }

  private:
    std::string text;
};

void appendSignals(MetricsText& out, const MetricsSnapshot& snapshot) {
    const auto& signals = snapshot.catalog.signals();
    std::vector<std::string> labels;
    for (const auto& signal : signals) {
        labels.push_back("instance=\"" + escapedLabel(signal->def.instance) + "\"");
    }
    const auto each = [&](std::string_view name, bool valuesOnly, auto&& valueOf) {
        for (std::size_t i = 0; i < signals.size(); ++i) {
            if (snapshot.values[i].hasValue || !valuesOnly) {
                out.sample(name, labels[i], valueOf(snapshot.values[i]));
            }
        }
    };
    out.family("rksignal_signal_value", "gauge", "Physical value of the signal in its unit.");
    for (std::size_t i = 0; i < signals.size(); ++i) {
        if (snapshot.values[i].hasValue) {
            const baseSignalDef_t& definition = signals[i]->def;
            const double number = numberOfRaw(definition.type, snapshot.values[i].raw);
            out.sample("rksignal_signal_value", labels[i] + ",unit=\"" + escapedLabel(definition.unit) + "\"",
                       sampleText(number * definition.scale + definition.offset));
        }
    }
    out.family("rksignal_signal_valid", "gauge", "Whether the signal has a value.");
    each("rksignal_signal_valid", false, [](const LiveValue& value) { return value.hasValue ? "1" : "0"; });
    out.family("rksignal_signal_timestamp_seconds", "gauge", "Time stamp of the value, since 1970-01-01 UTC.",
               "seconds");
    each("rksignal_signal_timestamp_seconds", true,
         [](const LiveValue& value) { return timeText(value.timestamp); });
    out.family("rksignal_signal_age_seconds", "gauge", "Age of the value by the clock of the writers.",
               "seconds");
    each("rksignal_signal_age_seconds", true, [&](const LiveValue& value) {
        const bool isEarlier = value.timestamp < snapshot.now;
        return doubleText(
            isEarlier ? static_cast<double>(snapshot.now - value.timestamp) / nanosecondsPerSecond : 0);
    });
    out.family("rksignal_signal_updates", "counter", "Values of the signal that were seen.");
    each("rksignal_signal_updates_total", false,
         [](const LiveValue& value) { return std::to_string(value.updates); });
    out.family("rksignal_signal_changes", "counter", "Values that differed from the one before.");
    each("rksignal_signal_changes_total", false,
         [](const LiveValue& value) { return std::to_string(value.changes); });
}

void appendConditions(MetricsText& out, const MetricsSnapshot& snapshot) {
    if (snapshot.states.empty()) {
        return;
    }
    out.family("rksignal_condition_true", "gauge", "1 if the condition is true, 0 if false, NaN if unknown.");
    for (std::size_t i = 0; i < snapshot.states.size(); ++i) {
        const std::optional<bool>& isTrue = snapshot.states[i].isTrue;
        out.sample("rksignal_condition_true", "condition=\"" + escapedLabel(snapshot.conditions[i]) + "\"",
                   !isTrue   ? "NaN"
                   : *isTrue ? "1"
                             : "0");
    }
    out.family("rksignal_condition_firings", "counter", "How often the condition has become true.");
    for (std::size_t i = 0; i < snapshot.states.size(); ++i) {
        out.sample("rksignal_condition_firings_total",
                   "condition=\"" + escapedLabel(snapshot.conditions[i]) + "\"",
                   std::to_string(snapshot.states[i].firings));
    }
}

} // namespace

MetricsSnapshot metricsSnapshot(const LiveState::Contents& live) {
    MetricsSnapshot snapshot{live.catalog,      {live.values.all().begin(), live.values.all().end()},
                             live.values.now(), live.slots.statistics(),
                             live.states,       {}};
    for (std::size_t i = 0; i < live.triggers.size(); ++i) {
        snapshot.conditions.push_back(live.triggers.condition(i).name());
    }
    return snapshot;
}

std::string openMetrics(const MetricsSnapshot& snapshot, std::size_t clients, std::string_view version) {
    MetricsText out;
    appendSignals(out, snapshot);
    appendConditions(out, snapshot);
    out.family("rksignal_signals", "gauge", "Signals by what there is of them in shared memory.");
    for (std::size_t i = 0; i < SlotReplay::connections; ++i) {
        const auto connection = static_cast<SlotReplay::Connection>(i);
        if (connection != SlotReplay::Connection::Unwanted) {
            out.sample("rksignal_signals", "connection=\"" + std::string(connectionName(connection)) + "\"",
                       std::to_string(snapshot.polls.count(connection)));
        }
    }
    out.family("rksignal_polls", "counter", "How often shared memory was looked at.");
    out.sample("rksignal_polls_total", "", std::to_string(snapshot.polls.polls));
    out.family("rksignal_values", "counter", "Values that were seen.");
    out.sample("rksignal_values_total", "", std::to_string(snapshot.polls.values));
    out.family("rksignal_withdrawals", "counter", "Values that were taken away.");
    out.sample("rksignal_withdrawals_total", "", std::to_string(snapshot.polls.withdrawn));
    out.family("rksignal_clients", "gauge", "Pages that are open.");
    out.sample("rksignal_clients", "", std::to_string(clients));
    out.family("rksignal_build", "info", "The program.");
    out.sample("rksignal_build_info", "version=\"" + escapedLabel(version) + "\"", "1");
    return out.finish();
}

} // namespace rksignal
