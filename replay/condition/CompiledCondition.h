/// \file
/// The inside of a usable Condition.
#pragma once

#include "condition/Condition.h"
#include "condition/ExpressionTree.h"
#include "text/Remark.h"

#include <memory>
#include <string>
#include <vector>

namespace rksignal {

/// A condition that can be evaluated. Its signals must outlive it.
class CompiledCondition {
  public:
    /// Compiles `text` with the signals of `storage`. Errors, and names that no signal has, with those that
    /// come close, go to `remarks`. \return null after an error
    static std::unique_ptr<CompiledCondition> compile(const ConditionText& text, SignalStorage& storage,
                                                      const ConditionOptions& options, RemarkList& remarks);

    const ConditionText& text() const { return source; }
    /// The expression in the language of librksignal, see ConditionLanguage.h.
    const std::string& translation() const { return translated; }
    /// Made when it is asked for, as the values are: few conditions are ever explained.
    ExpressionTree tree() const { return ExpressionTree(*program); }

    /// Evaluates and gives the signals: `getExpResult`, `getTrigger`, `signals`.
    ExpParser& parser() { return *program; }
    const ExpParser& parser() const { return *program; }

    /// Evaluates every sub-expression, by the library's own operations. \return the values by node, NaN where
    /// unknown
    std::vector<double> evaluate();

  private:
    CompiledCondition(ConditionText text, std::string translation, std::unique_ptr<ExpParser> parser);

    ConditionText source;
    std::string translated;
    std::unique_ptr<ExpParser> program;
};

} // namespace rksignal
