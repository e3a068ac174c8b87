/// \file
/// When conditions were true, in bounded memory.
#pragma once

#include "condition/Triggers.h"
#include "plot/Figure.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rksignal {

/// Stretches of time, in their order. Beyond `mostSpans` those that lie close together become one.
class SpanList {
  public:
    static constexpr std::size_t mostSpans = 8192;

    void add(std::uint64_t from);
    /// Ends the last one.
    void end(std::uint64_t to);
    const std::vector<TimeSpan>& spans() const { return all; }

  private:
    void join();

    std::vector<TimeSpan> all;
    std::uint64_t distance = 1; ///< what lies closer together is joined
};

/// Follows edge-triggered conditions.
class ConditionLanes final : public FiringSink {
  public:
    /// `triggers` must outlive the lanes.
    explicit ConditionLanes(const Triggers& triggers) : triggers(triggers), conditions(triggers.size()) {}

    void fired(const Firing& firing) override;
    void ended(std::size_t trigger, std::uint64_t timestamp) override;

    /// Conditions that are still true are so up to `end`.
    std::vector<FigureLane> lanes(std::uint64_t end);

  private:
    struct Condition {
        SpanList spans;
        bool isTrue = false;
    };

    const Triggers& triggers;
    std::vector<Condition> conditions;
};

} // namespace rksignal
