/// \file
/// Conditions that are watched while traces are decoded, for Python.
#pragma once

#include "Definitions.h"
#include "TraceReading.h"

#include "condition/Triggers.h"
#include "value/Replay.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rksignal::python {

struct TriggerRequest {
    std::vector<std::pair<std::string, std::string>> conditions; ///< names and expressions
    ConditionOptions options;
    std::optional<std::uint64_t> timeout; ///< nanoseconds
    bool explain = true;                  ///< whether firings come with an explanation
};

/// For one thread at a time.
class TriggerReading : private FiringSink {
  public:
    /// \throws Error, also if a condition cannot be used
    TriggerReading(const Definitions& definitions, const TraceRequest& request, const TriggerRequest& wanted);

    /// \return the next firings, in their order; empty at the end \throws Error, nb::python_error
    nb::list next();
    nb::list remarks() const { return reading.remarks(); }
    /// About the conditions.
    nb::list conditionRemarks() const { return conditionNotes; }

  private:
    /// A signal of the condition when it fired.
    struct Value {
        const BaseSignal* signal;
        std::optional<double> number;
    };
    struct Kept {
        const Condition* condition;
        std::uint64_t number;
        std::uint64_t timestamp;
        std::optional<MessageOrigin> origin;
        std::vector<Value> values;
        std::string explanation;
    };

    std::vector<Condition> compile(const TriggerRequest& wanted);
    void readOn();
    void fired(const Firing& firing) override;
    static nb::tuple tupleOf(const Kept& firing);

    std::unique_ptr<Catalog> catalog;
    nb::list conditionNotes;
    TraceReading reading;
    Triggers triggers;
    Replay replay;
    bool explains;
    bool hasEnded = false;
    std::vector<Kept> kept;
};

void bindTriggerReading(nb::module_& module);

} // namespace rksignal::python
