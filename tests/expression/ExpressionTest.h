/// \file
/// The fixture of tests that build trigger expressions.
#pragma once

#include "expression/ExpParser.h"
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <memory>
#include <sstream>
#include <string>

/// Signals of any value in a storage of their own.
class ExpressionTest : public SignalTest {
  protected:
    /// Gives a signal, built at its first mention, a valid value. Its time stamps count up from 1.
    void set(const std::string& name, double value) {
        signalNamed(name).writeRaw(std::bit_cast<std::uint64_t>(value), ++time);
    }
    void setUnknown(const std::string& name) { signalNamed(name).clear(); }

    BaseSignal& signalNamed(const std::string& name) {
        auto& signal = signals[name];
        if (!signal) {
            baseSignalDef_t definition = byteDefinition(name);
            definition.type = signalValue_t::Double;
            definition.bits = 64;
            definition.offset = -0.0; // leaves a negative zero as it is
            signal = std::make_unique<BaseSignal>(definition, false, &storage);
        }
        return *signal;
    }

    /// "true", "false" or "unknown".
    static std::string result(ExpParser& expression) {
        bool value = true;
        if (!expression.getExpResult(value)) {
            EXPECT_FALSE(value) << "an unknown result is false";
            return "unknown";
        }
        return value ? "true" : "false";
    }
    std::string result(const std::string& text) {
        ExpParser expression(text.c_str(), false, &storage);
        return expression.isUsable() ? result(expression) : "error";
    }

    /// The program on one line.
    static std::string program(const ExpParser& expression) {
        std::ostringstream lines;
        expression.dump(lines);
        std::string text = lines.str();
        std::replace(text.begin(), text.end(), '\n', ';');
        return text;
    }

    SignalStorage storage;

  private:
    std::map<std::string, std::unique_ptr<BaseSignal>> signals;
    unsigned long time = 0;
};
