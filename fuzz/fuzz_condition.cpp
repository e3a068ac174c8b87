// Texts of conditions: compiled, checked, evaluated and explained. What the translation gives is an
// expression that is its own translation.

#include "condition/Condition.h"
#include "condition/ConditionLanguage.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

/// Signals with value tables, under the names of the corpus.
class TextSignals {
  public:
    TextSignals() {
        for (const char* const name : {"a", "b", "speed", "door", "x.y"}) {
            baseSignalDef_t definition;
            definition.instance = name;
            definition.bits = 8;
            definition.scale = -0.5;
            definition.valueDescriptions = {{0, "off"}, {1, "not on"}, {2, "a\"b"}, {3, "off"}, {9, "9"}};
            all.push_back(std::make_unique<BaseSignal>(definition, false, &storage));
            all.back()->writeRaw(all.size(), 1);
        }
    }

    SignalStorage storage{SignalTables::Own};

  private:
    std::vector<std::unique_ptr<BaseSignal>> all;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static TextSignals signals;
    const std::string text(reinterpret_cast<const char*>(data), size);
    rksignal::Condition condition(rksignal::parseCondition(text), signals.storage, {.allowUnknown = true});
    if (!condition.isUsable()) {
        return condition.remarks().empty() ? std::abort(), 1 : 0;
    }
    rksignal::RemarkList remarks;
    if (rksignal::translateExpression(condition.translation(), "", signals.storage, remarks) !=
        condition.translation()) {
        std::abort();
    }
    condition.evaluate();
    return condition.explain().empty() ? 1 : 0;
}
