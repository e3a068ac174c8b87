/// \file
/// Keeps the firings of conditions, for a picture of the whole drive.
#pragma once

#include "condition/Firing.h"
#include "condition/Triggers.h"
#include "text/Export.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rksignal {

/// One firing. Times are nanoseconds since 1970-01-01 UTC.
struct KeptFiring {
    std::uint64_t time = 0;
    std::optional<std::uint64_t> end = {}; ///< when the condition was found false; none: not until the end
    std::string why = {};                  ///< Triggers::explain() at that moment; empty if not wanted
};

/// Keeps the first firings of each condition, with the end of each where the condition fires only when it
/// becomes true. Memory is bounded by the limits.
class RKREPLAY_EXPORT FiringLog final : public FiringSink {
  public:
    struct Limits {
        std::size_t firings = 1000;     ///< of a condition
        std::size_t explanation = 4096; ///< bytes of one; a longer one is cut and ends in `...`
        // of all conditions together, which have equal shares of them
        std::size_t allFirings = 20'000;
        std::size_t allExplanations = 2'000'000; ///< bytes; firings behind them have none
    };

    /// `triggers` must outlive the log, to which it is to be added.
    FiringLog(const Triggers& triggers, bool explains, const Limits& limits);

    void fired(const Firing& firing) override;
    void ended(std::size_t trigger, std::uint64_t timestamp) override;

    /// In the order in which they came.
    const std::vector<KeptFiring>& firings(std::size_t trigger) const { return logs[trigger].firings; }
    /// How many there were besides.
    std::uint64_t omitted(std::size_t trigger) const;

  private:
    struct Log {
        std::vector<KeptFiring> firings;
        std::size_t explanations = 0; ///< bytes
        bool isOpen = false;          ///< the last of `firings` has not ended
    };

    std::string explain(const Firing& firing, Log& log) const;

    const Triggers& triggers;
    bool explains;
    Limits limits;
    std::vector<Log> logs; ///< by trigger
};

} // namespace rksignal
