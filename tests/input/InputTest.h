/// \file
/// The fixture of the tests of input signals.
#pragma once

#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

class InputTest : public SignalTest {
  protected:
    /// A definition of 64 bits.
    static inputSignalDef_t wide(const std::string& instance, signalValue_t type = signalValue_t::Unsigned) {
        auto definition = byteDefinition<inputSignalDef_t>(instance);
        definition.bits = 64;
        definition.type = type;
        return definition;
    }

    static std::vector<unsigned long> decode(const auto& message, const auto&... arguments) {
        return decodedIds<InputSignal>(message, arguments...);
    }

    static double read(BaseSignal& signal) {
        double value = 0;
        unsigned long timestamp = 0;
        EXPECT_TRUE(signal.read(value, timestamp)) << signal.def.instance;
        return value;
    }
};
