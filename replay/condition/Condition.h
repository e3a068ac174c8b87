/// \file
/// A compiled condition together with what it was made from.
#pragma once

#include "condition/ConditionText.h"
#include "condition/ExpressionTree.h"
#include "condition/Finding.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

struct ConditionOptions {
    bool edgeTrigger = false;  ///< `ExpParser::getTrigger` reports only the change from false to true
    bool allowUnknown = false; ///< a name that no signal has counts as 0, as it does in the library
};

/// A condition that can be evaluated. Its signals must outlive it.
class Condition {
  public:
    /// Compiles `text` with the signals of `storage`. Errors, and names that no signal has, with those that
    /// come close, go to `findings`. Several threads may compile at once, as long as no signal enters or
    /// leaves `storage`. They share what all expressions of a process share: the table
    /// `ExpParser::allExpParsers`, which each condition enters under the library's lock, and the switches
    /// `ExpParser::debug` and `expdebug`, which must not change meanwhile. \return null after an error
    static std::unique_ptr<Condition> compile(const ConditionText& text, SignalStorage& storage,
                                              const ConditionOptions& options,
                                              std::vector<Finding>& findings);

    const std::string& name() const { return source.name; }
    const ConditionText& text() const { return source; }
    const ExpressionTree& tree() const { return expressionTree; }

    /// Evaluates and gives the signals: `getExpResult`, `getTrigger`, `signals`.
    ExpParser& parser() { return *program; }
    const ExpParser& parser() const { return *program; }

    /// Evaluates every sub-expression, by the library's own operations. \return the values by node, NaN where
    /// unknown; good until the next call
    std::span<const double> evaluate();

  private:
    Condition(ConditionText text, std::unique_ptr<ExpParser> parser);

    ConditionText source;
    std::unique_ptr<ExpParser> program;
    ExpressionTree expressionTree;
    std::vector<double> values;
};

} // namespace rksignal
