/// \file
/// Explains firings, and what conditions are at a moment, as text.
#pragma once

#include "catalog/Catalog.h"
#include "condition/Firing.h"
#include "condition/SignalTimeouts.h"
#include "condition/TriggerSet.h"
#include "file/OutputBuffer.h"
#include "text/NumberText.h"

#include <string>
#include <string_view>

namespace rksignal {

class FiringExplanations : public FiringSink {
  public:
    /// Firings are only explained if `firingsToo`. Everything must outlive the sink.
    FiringExplanations(const Catalog& catalog, TriggerSet& triggers, OutputBuffer& out, bool firingsToo)
        : catalog(catalog), triggers(triggers), out(out), firingsToo(firingsToo) {}

    /// Null: signals do not time out.
    void setTimeouts(const SignalTimeouts* signalTimeouts) { timeouts = signalTimeouts; }

    void fired(const Firing& firing) override;
    /// Explains every condition.
    void explainAll(std::uint64_t timestamp);

    /// Why the signal has no value: never seen, timed out, branch inactive, frame too short or no fix.
    std::string whyUnknown(BaseSignal& signal) const;

  private:
    void write(std::size_t trigger, std::uint64_t timestamp, std::string_view event);

    const Catalog& catalog;
    TriggerSet& triggers;
    OutputBuffer& out;
    const SignalTimeouts* timeouts = nullptr;
    bool firingsToo;
};

} // namespace rksignal
