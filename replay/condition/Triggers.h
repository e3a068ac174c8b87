/// \file
/// Conditions that are watched while messages are decoded.
#pragma once

#include "catalog/Catalog.h"
#include "condition/Condition.h"
#include "condition/Firing.h"
#include "text/NumberText.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

/// A signal that has not been written for longer than its time-out, or that is written again.
struct Timeout {
    std::size_t signal;      ///< index in Catalog::signals()
    std::uint64_t lastWrite; ///< before the signal became stale
    std::uint64_t timestamp; ///< when it became stale, or was written again
    bool isOver;             ///< it is written again
};

struct TriggerSettings {
    /// Nanoseconds after which a signal that is not written becomes unknown; none: never.
    std::optional<std::uint64_t> timeout = {};
    /// The same for each signal, by its index in Catalog::signals(); asked once a signal. Null: `timeout`.
    std::function<std::optional<std::uint64_t>(std::size_t)> timeoutOf = nullptr;
    /// Told of each time-out and of its end, before conditions see it. With it all signals time out, without
    /// it those that conditions use.
    std::function<void(const Timeout&)> onTimeout = nullptr;
    std::vector<std::uint64_t> moments = {};               ///< ascending times at which `atMoment` is called
    std::function<void(std::uint64_t)> atMoment = nullptr; ///< before the first message behind the moment
    TimeFormat times = {};                                 ///< in explanations
};

/// What the evaluations of a condition came to.
struct TriggerCounts {
    std::uint64_t isTrue = 0;
    std::uint64_t isFalse = 0;
    std::uint64_t isUnknown = 0;
    std::uint64_t firings = 0;

    std::uint64_t evaluations() const { return isTrue + isFalse + isUnknown; }
};

/// Evaluates conditions when their signals change, and only then: after a message that gave one of their
/// signals another value, or its first one since the start or since it was lost; when a message takes the
/// value of one away; and when one times out.
///
///     rksignal::Triggers triggers(catalog, std::move(conditions));
///     triggers.addFiringSink(firings);
///     rksignal::Replay(catalog, triggers).run(trace);
///     triggers.finish();
///
/// A message costs what the conditions cost whose signals have changed, however many others there are; one
/// that fires nothing allocates nothing. For the thread that replays.
class RKREPLAY_EXPORT Triggers final : public ValueSink {
  public:
    /// Conditions that are not usable are left out. Their signals are signals of `catalog`, which is complete
    /// and outlives the triggers. A condition whose option says so fires when it becomes true, unknown in
    /// between not counted; others fire at each evaluation that is true.
    Triggers(const Catalog& catalog, std::vector<Condition> conditions, TriggerSettings settings = {});
    ~Triggers() override;
    Triggers(const Triggers&) = delete;
    Triggers& operator=(const Triggers&) = delete;

    /// Sinks are told in the order in which they were added, firings in the order of the conditions. They
    /// must outlive the triggers.
    void addFiringSink(FiringSink& sink);
    /// A sink that gets all values, before the firings that they cause.
    void addValueSink(ValueSink& sink);

    /// Signals may have values before the first message: from another process, or from before the conditions
    /// were loaded again. They count as written at `now`, and conditions that are true already have fired.
    void resume(std::uint64_t now);

    /// Also to be called now and then while no messages come, lest time-outs wait for the next one.
    void reached(std::uint64_t timestamp) override;
    void signalsAdded() override;
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void writtenWhole(const MessageInfo& message, std::size_t number,
                      std::span<const unsigned long> ids) override;
    void withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void decoded(const MessageInfo& message) override;
    bool closed() const override;

    /// To be called behind the last message: the remaining moments are served.
    void finish();

    std::size_t size() const; ///< number of conditions
    const Condition& condition(std::size_t trigger) const;
    TriggerCounts counts(std::size_t trigger) const; ///< so far

    /// Whether the condition is true at this moment; nothing while that cannot be known. Counts for nothing.
    std::optional<bool> evaluate(std::size_t trigger) const;
    /// Condition::explain(), with the reasons: never seen, timed out, branch inactive, frame too short or no
    /// fix.
    std::string explain(const Condition& condition) const;

  private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace rksignal
