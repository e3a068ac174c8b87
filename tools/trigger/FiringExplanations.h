/// \file
/// Writes the explanations of conditions: when they fire, and at chosen moments.
#pragma once

#include "condition/Firing.h"
#include "condition/Triggers.h"
#include "output/OutputBuffer.h"
#include "text/NumberText.h"

#include <string_view>

namespace rksignal {

class FiringExplanations : public FiringSink {
  public:
    /// Firings are only explained if `firingsToo`. Everything must outlive the sink.
    FiringExplanations(const Triggers& triggers, OutputBuffer& out, const TimeFormat& times, bool firingsToo)
        : triggers(triggers), out(out), times(times), firingsToo(firingsToo) {}

    void fired(const Firing& firing) override;
    bool closed() const override { return out.closed(); }
    /// Explains every condition.
    void explainAll(std::uint64_t timestamp);

  private:
    void write(const Condition& condition, std::uint64_t timestamp, std::string_view event);

    const Triggers& triggers;
    OutputBuffer& out;
    TimeFormat times;
    bool firingsToo;
};

} // namespace rksignal
