/// \file
/// The last firings of conditions, with their explanations.
#pragma once

#include "condition/Firing.h"
#include "condition/FiringLog.h"
#include "condition/Triggers.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace rksignal {

/// Keeps the last firings of each condition, in bounded memory. For one thread at a time.
class RecentFirings final : public FiringSink {
  public:
    static constexpr std::size_t mostBytes = 8'000'000; ///< of all explanations
    static constexpr std::size_t longestText = 4096; ///< bytes of one; a longer one is cut and ends in `...`
    static constexpr std::size_t mostOfCondition = 100; ///< firings that are kept, at least one

    /// `triggers` must outlive the object, which is to be added to them.
    explicit RecentFirings(const Triggers& triggers);

    void fired(const Firing& firing) override;
    void ended(std::size_t trigger, std::uint64_t timestamp) override;

    /// The last firings, in the order in which they came.
    const std::deque<KeptFiring>& firings(std::size_t trigger) const { return kept[trigger]; }

  private:
    const Triggers& triggers;
    std::size_t mostKept;
    std::vector<std::deque<KeptFiring>> kept; ///< by trigger
};

} // namespace rksignal
