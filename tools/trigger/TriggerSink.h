/// \file
/// Follows a replay and lets conditions fire.
#pragma once

#include "catalog/Catalog.h"
#include "condition/Firing.h"
#include "condition/SignalTimeouts.h"
#include "condition/TriggerSet.h"
#include "file/OutputBuffer.h"
#include "trigger/WindowWriter.h"
#include "value/ValueSink.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace rksignal {

/// Conditions are evaluated after a message that gave one of their signals another value, or its first one
/// since the start or since it was lost; when a message takes the value of one away; and when one times out.
/// A message that fires nothing allocates nothing.
class TriggerSink : public ValueSink {
  public:
    struct Options {
        std::optional<std::uint64_t> timeout; ///< nanoseconds after which a signal is unknown; none: never
        std::vector<std::uint64_t> moments;   ///< ascending times at which `atMoment` is called
        std::function<void(std::uint64_t)> atMoment;
        WindowWriter* windows = nullptr; ///< also gets the values
    };

    /// Everything must outlive the sink. `out` is where the firings end up.
    TriggerSink(const Catalog& catalog, TriggerSet& triggers, FiringSink& firings, const OutputBuffer& out,
                Options options);

    void reached(std::uint64_t timestamp) override;
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void decoded(const MessageInfo& message) override;
    bool closed() const override { return out.closed(); }

    /// To be called after the last trace: the remaining moments and windows are served.
    void finish();

    /// Null when signals do not time out.
    const SignalTimeouts* signalTimeouts() const { return timeouts ? &*timeouts : nullptr; }

  private:
    void restartClock(std::uint64_t timestamp);
    void passMoments(std::uint64_t end);
    void expire(std::uint64_t now);
    void forget(std::size_t signal);
    void fire(std::uint64_t timestamp, const std::optional<MessageOrigin>& origin);

    const Catalog& catalog;
    TriggerSet& triggers;
    FiringSink& firings;
    const OutputBuffer& out;
    Options options;
    std::optional<SignalTimeouts> timeouts;
    std::vector<bool> known; ///< by signal: has a value; only of those that conditions use
    std::uint64_t now = 0;
    std::size_t nextMoment = 0;
};

} // namespace rksignal
