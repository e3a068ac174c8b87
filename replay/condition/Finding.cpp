#include "condition/Finding.h"

#include <algorithm>
#include <ostream>

namespace rksignal {
namespace {

const char* word(Finding::Severity severity) {
    switch (severity) {
    case Finding::Severity::Remark:
        return "remark";
    case Finding::Severity::Warning:
        return "warning";
    case Finding::Severity::Error:
        break;
    }
    return "error";
}

} // namespace

std::ostream& operator<<(std::ostream& out, const Finding& finding) {
    return out << finding.origin << ": " << word(finding.severity) << ": " << finding.message;
}

std::size_t count(const std::vector<Finding>& findings, Finding::Severity severity) {
    const auto isMeant = [severity](const Finding& finding) { return finding.severity == severity; };
    return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(), isMeant));
}

} // namespace rksignal
