#include "audit/AuditRule.h"

#include <algorithm>

namespace rksignal {

const std::array<AuditRuleInfo, auditRules>& auditRuleTable() {
    using enum AuditRule;
    using enum Severity;
    static constexpr std::array<AuditRuleInfo, auditRules> table{{
        {Checksum, "checksum", Error, "a checksum is not that of its frame"},
        {CounterStuck, "counter-stuck", Error, "a counter stays the same"},
        {CounterJump, "counter-jump", Warning, "a counter leaves numbers out"},
        {LostMessages, "lost-messages", Warning, "a message comes too late or no more"},
        {CycleTime, "cycle-time", Warning, "a message has another cycle than defined"},
        {BusGap, "bus-gap", Warning, "nothing comes on a channel for a while"},
        {TimeBackwards, "time-backwards", Warning, "times on a channel go back"},
        {WrongLength, "wrong-length", Warning, "a frame is shorter or longer than defined"},
        {OutOfRange, "out-of-range", Warning, "a value is below its minimum or above its maximum"},
        {NoText, "no-text", Warning, "a value is not in the table of values"},
        {TwoChannels, "two-channels", Note, "an identifier comes on several channels"},
        {NeverSeen, "never-seen", Note, "a defined message never comes"},
        {Undefined, "undefined", Note, "a frame has no definition"},
        {Constant, "constant", Note, "a signal never changes"},
    }};
    return table;
}

std::optional<AuditRule> auditRuleNamed(std::string_view name) {
    const auto& table = auditRuleTable();
    const auto found =
        std::find_if(table.begin(), table.end(), [name](const auto& info) { return info.name == name; });
    return found == table.end() ? std::nullopt : std::optional(found->rule);
}

std::string_view findingSeverityName(Severity severity) {
    constexpr std::array<std::string_view, 3> names = {"note", "warning", "error"};
    return names[static_cast<std::size_t>(severity)];
}

} // namespace rksignal
