// Expression texts: parsed, evaluated, and evaluated again step by step, which must come to the same.

#include "expression/ExpParser.h"

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

/// Signals of several values, one of them unknown, under the names of the corpus.
class Signals {
  public:
    Signals() {
        const double values[] = {0.0, 1.0, 51.5, -3.0, std::numeric_limits<double>::infinity()};
        for (const char* const name : {"a", "b", "speed", "door", "x.y"}) {
            baseSignalDef_t definition;
            definition.instance = name;
            definition.bits = 64;
            definition.type = signalValue_t::Double;
            signals.push_back(std::make_unique<BaseSignal>(definition));
            signals.back()->writeRaw(std::bit_cast<std::uint64_t>(values[signals.size() - 1]), 1);
        }
        signals.front()->clear();
    }

  private:
    std::vector<std::unique_ptr<BaseSignal>> signals;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::cerr.setstate(std::ios::failbit); // the error lines are not of interest
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Signals signals;
    const std::string text(reinterpret_cast<const char*>(data), size);
    ExpParser expression(text.c_str(), false);
    if (!ExpParser::allExpParsers.contains(&expression)) {
        return 0;
    }
    bool fast = false;
    const bool isKnown = expression.getExpResult(fast);
    expression.program.reserve(expression.program.size() + 1); // not where it was compiled: run by its steps
    bool slow = false;
    if (expression.getExpResult(slow) != isKnown || slow != fast) {
        std::abort();
    }
    return 0;
}
