/// \file
/// What there is to say about a condition before it is used.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace rksignal {

/// One remark about a condition. `operator<<` writes it as `origin: warning: message`, without a line end.
struct Finding {
    enum class Severity {
        Remark,  ///< may well be meant so
        Warning, ///< the condition works, but hardly as it was meant
        Error,   ///< the condition cannot be used
    };
    std::string origin; ///< where the condition stands, as `ConditionText::origin`
    Severity severity;
    std::string message;
};

std::ostream& operator<<(std::ostream& out, const Finding& finding);

/// How many of `findings` are of this severity.
std::size_t count(const std::vector<Finding>& findings, Finding::Severity severity);

} // namespace rksignal
