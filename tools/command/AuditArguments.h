/// \file
/// The arguments that say what an audit looks at.
#pragma once

#include "audit/Audit.h"

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

struct AuditArguments {
    std::vector<std::string> skipped;   ///< names of rules
    std::vector<std::string> counters;  ///< patterns of instance names
    std::vector<std::string> checksums; ///< `GLOB=RULE`
};

/// Adds `--checksum`, `--counter` and `--skip`. `arguments` must outlive the parsing.
void addAuditArguments(CLI::App& command, AuditArguments& arguments);

/// \throws UsageError, which names the argument
AuditSettings auditSettings(const AuditArguments& arguments, bool strict);

} // namespace rksignal
