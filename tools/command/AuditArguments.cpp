#include "command/AuditArguments.h"

#include "command/UsageError.h"
#include "text/ClosestNames.h"

#include <CLI/CLI.hpp>
#include <bitset>
#include <string_view>

namespace rksignal {
namespace {

std::bitset<auditRules> skippedRules(const std::vector<std::string>& names) {
    std::bitset<auditRules> skipped;
    for (const std::string& name : names) {
        const auto rule = auditRuleNamed(name);
        if (!rule) {
            std::vector<std::string_view> known;
            for (const AuditRuleInfo& info : auditRuleTable()) {
                known.push_back(info.name);
            }
            throw UsageError("--skip " + name + ": there is no such rule" + closestNames(name, known));
        }
        skipped.set(static_cast<std::size_t>(*rule));
    }
    return skipped;
}

ChecksumChoice checksumChoice(const std::string& argument) {
    const std::size_t equals = argument.find('=');
    if (equals == argument.npos || equals == 0) {
        throw UsageError("--checksum " + argument + ": not of the form GLOB=RULE");
    }
    const auto rule = parseChecksumRule(std::string_view(argument).substr(equals + 1));
    if (!rule) {
        throw UsageError("--checksum " + argument +
                         ": the rule is none of xor, sum, crc8-j1850, crc8-h2f, e2e1:ID[:MODE], e2e2:LIST, "
                         "e2e5:ID");
    }
    return {argument.substr(0, equals), *rule};
}

} // namespace

void addAuditArguments(CLI::App& command, AuditArguments& arguments) {
    command.add_option("--checksum", arguments.checksums, "The rule of checksums, as xor or e2e1:0x123")
        ->type_name("GLOB=RULE")
        ->allow_extra_args(false);
    command
        .add_option("--counter", arguments.counters,
                    "Signals that count messages, besides *Counter and the like")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    command.add_option("--skip", arguments.skipped, "A rule that does not count")
        ->type_name("RULE")
        ->allow_extra_args(false);
}

AuditSettings auditSettings(const AuditArguments& arguments, bool strict) {
    AuditSettings settings;
    settings.skipped = skippedRules(arguments.skipped);
    settings.counters = arguments.counters;
    settings.strict = strict;
    for (const std::string& argument : arguments.checksums) {
        settings.checksums.push_back(checksumChoice(argument));
    }
    return settings;
}

} // namespace rksignal
