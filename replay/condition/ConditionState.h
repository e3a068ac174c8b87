/// \file
/// What a Condition holds.
#pragma once

#include "condition/CompiledCondition.h"

#include <memory>
#include <utility>
#include <vector>

namespace rksignal {

struct Condition::State {
    ConditionText text;
    bool isEdgeTrigger = false;
    RemarkList remarks = RemarkList();
    std::unique_ptr<CompiledCondition> compiled = nullptr; ///< null: not usable
    std::vector<BaseSignal*> signals = {};
    bool wasTrue = false; ///< when last known

    bool fires(bool isTrue) {
        const bool wasTrueBefore = std::exchange(wasTrue, isTrue);
        return isTrue && !(isEdgeTrigger && wasTrueBefore);
    }
};

} // namespace rksignal
