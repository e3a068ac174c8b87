// Expression texts: parsed, evaluated, and evaluated again step by step, which must come to the same. The
// errors must agree with the program.

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

/// Whether every unknown signal is a constant 0 of the program, and an unusable expression ends in a fatal
/// error.
static bool hasRightErrors(const ExpParser& expression) {
    std::size_t fatal = 0;
    for (const ExpError& error : expression.errors()) {
        if (error.isFatal()) {
            ++fatal;
        } else {
            const auto& [operation, operand] = expression.program.at(error.step);
            if (operation != &ExpParser::opdouble || operand.constant != 0 || error.name.empty()) {
                return false;
            }
        }
    }
    return fatal == (expression.isUsable() ? 0 : 1) && (fatal == 0 || expression.errors().back().isFatal());
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::cerr.setstate(std::ios::failbit); // the lines of programs that leave several values on the stack
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Signals signals;
    const std::string text(reinterpret_cast<const char*>(data), size);
    ExpParser expression(text.c_str(), false, nullptr, ExpErrors::Collect);
    if (!hasRightErrors(expression) ||
        expression.isUsable() != ExpParser::allExpParsers.contains(&expression)) {
        std::abort();
    }
    if (!expression.isUsable()) {
        YYSTYPE value;
        return explex(&value, &expression); // nothing is left: 0
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
