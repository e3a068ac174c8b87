/// \file
/// Findings of an audit as text and as JSON.
#pragma once

#include "audit/Finding.h"
#include "output/OutputBuffer.h"
#include "text/NumberText.h"

#include <array>
#include <cstddef>
#include <vector>

namespace rksignal {

struct AuditReport {
    const std::vector<Finding>& findings;
    const TimeFormat& times;

    /// A block a finding: a line that says what and where, then one a moment, which begins with its time.
    void writeText(OutputBuffer& out) const;
    /// One object, with an object a finding on a line of its own.
    void writeJson(OutputBuffer& out) const;

    /// By Severity.
    std::array<std::size_t, 3> counts() const;
};

} // namespace rksignal
