/// \file
/// Signals of many types for conditions.
#pragma once

#include "condition/ConditionArguments.h"

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace rksignal {

/// Owns its signals, none of which has a value at first, and compiles conditions over them.
struct VehicleSignals {
    VehicleSignals() {
        add("Speed", signalValue_t::Unsigned, 8, 0.1, 0).def.unit = "km/h";
        add("Count", signalValue_t::Unsigned, 2, 1, 0);
        add("Down", signalValue_t::Signed, 3, -0.5, 1);
        add("Ratio", signalValue_t::Float, 32, 1, 0);
        add("Exact", signalValue_t::Double, 64, 2, 1);
        add("Wide", signalValue_t::Unsigned, 64, 1, 0);
        add("Least", signalValue_t::Signed, 64, 1, 0);
        add("Fixed", signalValue_t::Unsigned, 8, 0, 7);
        add("Positive", signalValue_t::Unsigned, 4, 1, 1);
        add("Lever", signalValue_t::Unsigned, 4, 1, 0).def.valueDescriptions = {{0, "P"}, {1, "R"}, {2, "D"}};
        add("Level", signalValue_t::Unsigned, 8, 1, 0).def.valueDescriptions = {{254, "wet"}, {255, "bad"}};
    }

    BaseSignal& add(const char* name, signalValue_t type, std::uint8_t bits, double scale, double offset) {
        baseSignalDef_t definition;
        definition.instance = name;
        definition.type = type;
        definition.bits = bits;
        definition.scale = scale;
        definition.offset = offset;
        return *all.emplace_back(std::make_unique<BaseSignal>(definition, false, &storage));
    }

    BaseSignal& operator[](const std::string& name) { return *BaseSignal::getInstance(name, &storage); }

    /// Compiles and checks one condition; what there is to say about it becomes `messages`.
    std::unique_ptr<Condition> compile(const std::string& text, bool allowUnknown = false) {
        std::vector<Finding> findings;
        auto conditions =
            compileConditions({{text, text, "here"}}, storage, {.allowUnknown = allowUnknown}, findings);
        std::ostringstream lines;
        for (const Finding& finding : findings) {
            lines << finding << '\n';
        }
        messages = lines.str();
        return conditions.empty() ? nullptr : std::move(conditions.front());
    }

    SignalStorage storage;
    std::vector<std::unique_ptr<BaseSignal>> all;
    std::string messages;
};

} // namespace rksignal
