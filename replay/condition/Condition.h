/// \file
/// Conditions over the signals of a catalog.
#pragma once

#include "catalog/Catalog.h"
#include "condition/ConditionText.h"
#include "expression/ExpParser.h"
#include "text/Remark.h"

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

struct ConditionOptions {
    bool edgeTrigger = false;  ///< fires() reports only the change from false to true
    bool allowUnknown = false; ///< a name that no signal has counts as 0, as it does in librksignal
};

/// Says why a signal has no value now, e.g. `never seen`.
using UnknownReason = std::function<std::string(BaseSignal&)>;

/// A condition: an expression as ExpParser has it, which may also compare a signal with a text of its value
/// table (`Gear.Current == "Sixth"`) and hold hexadecimal numbers (`0x1F`). Compiled once and evaluated as
/// often as need be. It reads the signals as they are at that moment. Never throws, whatever the text: what
/// is wrong with it stands in remarks().
///
///     rksignal::Condition fast("fast = Vehicle.Speed > 50 && Gear.Current == 6", catalog);
///     if (!fast.isUsable()) {
///         std::cerr << fast.remarks().kept().front() << '\n';
///     }
///
/// Its signals must outlive it. To be used by the thread that decodes them. Conditions of other threads over
/// other signals may be compiled and evaluated at the same time: all that they share is the table
/// `ExpParser::allExpParsers`, which each enters under the library's lock, and the switches
/// `ExpParser::debug` and `expdebug`, which must not change meanwhile.
class RKREPLAY_EXPORT Condition {
  public:
    /// Compiles `[NAME=]EXPRESSION`. Names may be those of instances for senders, see Catalog::addSources().
    /// Takes time in proportion to the length; with a name that no signal has also to the number of signals,
    /// with texts also to the sizes of the value tables.
    Condition(const std::string& text, Catalog& catalog, const ConditionOptions& options = {});
    /// The same over any signals, with a text that says where it comes from.
    Condition(const ConditionText& text, SignalStorage& signals, const ConditionOptions& options = {});
    ~Condition();
    Condition(Condition&&) noexcept;
    Condition& operator=(Condition&&) noexcept;

    /// Whether it can be evaluated: there is no error among the remarks.
    bool isUsable() const;
    /// Errors; what hardly was meant so, such as a comparison that can never be true given the range of its
    /// signal, as warnings; notes.
    const RemarkList& remarks() const;

    const std::string& name() const;       ///< as given; without one, the expression
    const std::string& expression() const; ///< as given
    const std::string& origin() const;     ///< where it stands, as the places of the remarks
    /// The expression as librksignal, and so a logger, takes it: with numbers in place of the texts of value
    /// tables and of hexadecimal numbers. REQUIRES: isUsable()
    const std::string& translation() const;

    /// The signals that it reads, each once. REQUIRES here and below: isUsable().
    std::span<BaseSignal* const> signals() const;
    /// \return whether it is true; nothing while that cannot be known, as a signal has no value. Takes some
    /// nanoseconds an operator and allocates nothing, here and below.
    std::optional<bool> evaluate();
    /// Evaluates. \return whether it is true, and, as an edge trigger, was not when it was last known
    bool fires();
    /// The values of the condition and of each of its sub-expressions, one a line, operands below their
    /// operator and indented by two more. `reason` is asked about signals without a value.
    ///
    ///     Engine.Speed > 3000 && Gear.Lever == 2: true
    ///       Engine.Speed > 3000: true
    ///         Engine.Speed: 3200.5 rpm
    ///       Gear.Lever == 2: true
    ///         Gear.Lever: 2 (Drive)
    std::string explain(const UnknownReason& reason = {}) const;

  private:
    friend class TriggerSet;
    struct State;
    explicit Condition(std::unique_ptr<State> state);
    friend std::vector<Condition> compileConditions(const std::vector<ConditionText>& texts,
                                                    SignalStorage& signals, const ConditionOptions& options);
    std::unique_ptr<State> state;
};

/// Compiles all. A name that an earlier one has is an error.
RKREPLAY_EXPORT std::vector<Condition> compileConditions(const std::vector<ConditionText>& texts,
                                                         SignalStorage& signals,
                                                         const ConditionOptions& options = {});
/// The same over the signals of a catalog, and of the instances for senders that the conditions name, see
/// Catalog::addSources().
RKREPLAY_EXPORT std::vector<Condition> compileConditions(const std::vector<ConditionText>& texts,
                                                         Catalog& catalog,
                                                         const ConditionOptions& options = {});

} // namespace rksignal
