/// \file
/// The rules of an audit.
#pragma once

#include "text/Export.h"
#include "text/Remark.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace rksignal {

enum class AuditRule : std::uint8_t {
    Checksum,
    CounterStuck,
    CounterJump,
    LostMessages,
    CycleTime,
    BusGap,
    TimeBackwards,
    WrongLength,
    OutOfRange,
    NoText,
    TwoChannels,
    NeverSeen,
    Undefined,
    Constant,
};

constexpr std::size_t auditRules = 14; ///< number of them

struct AuditRuleInfo {
    AuditRule rule;
    std::string_view name; ///< as options and results have it
    Severity severity;     ///< the most that a finding has
    std::string_view about;
};

/// All rules, the gravest first, as findings are sorted.
RKREPLAY_EXPORT const std::array<AuditRuleInfo, auditRules>& auditRuleTable();

inline const AuditRuleInfo& infoOf(AuditRule rule) {
    return auditRuleTable()[static_cast<std::size_t>(rule)];
}

RKREPLAY_EXPORT std::optional<AuditRule> auditRuleNamed(std::string_view name);

/// `note`, `warning` or `error`
RKREPLAY_EXPORT std::string_view findingSeverityName(Severity severity);

} // namespace rksignal
