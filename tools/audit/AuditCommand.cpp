#include "audit/AuditCommand.h"

#include "audit/AuditReport.h"
#include "command/DefinitionArguments.h"
#include "command/NearMatches.h"
#include "command/TraceInput.h"
#include "command/UsageError.h"
#include "output/OutputFile.h"
#include "output/ReplaySummary.h"
#include "output/SummaryText.h"
#include "output/WindowSummary.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>

namespace rksignal {
namespace {

enum AuditStatus : int { Quiet = 0, Found = 1, InTrouble = 2 };

/// One run of the command.
class AuditRun {
  public:
    AuditRun(const AuditOptions& options, const Console& console)
        : options(options), console(console), settings(auditSettings(options.audit, options.strict)),
          input(options, console) {
        loadDefinitions(options, input.traces().channels(), catalog, input.inputs());
        for (const Remark& remark : catalog.remarks()) {
            if (!options.quiet || remark.severity == Severity::Error) {
                console.messages << remark << '\n';
            }
        }
        input.open();
    }

    int run() {
        OutputFile file(options.output, console.output, input.inputs());
        OutputBuffer out(file);
        Audit audit(catalog, settings);
        const TimeFormat times = input.times();
        input.run(audit);
        const std::vector<Finding> findings = audit.findings();
        const AuditReport report{findings, times};
        options.json ? report.writeJson(out) : report.writeText(out);
        if (out.finish()) {
            input.complete(file, audit.survey().totals().messages > 0);
        }
        summarise(report, audit.survey().totals().messages);
        return conclude(findings, audit);
    }

  private:
    void summarise(const AuditReport& report, std::uint64_t messages) const {
        if (options.quiet) {
            printDamage(console.messages, input.traces());
        } else {
            printTraces(console.messages, input.traces());
            const auto [notes, warnings, errors] = report.counts();
            console.messages << messages << " message" << plural(messages) << ": " << errors << " error"
                             << plural(errors) << ", " << warnings << " warning" << plural(warnings) << ", "
                             << notes << " note" << plural(notes) << '\n';
        }
        printWindow(console.messages, input.traces(), report.times, options.quiet);
    }

    int conclude(const std::vector<Finding>& findings, const Audit& audit) const {
        if (input.interrupted()) {
            return Interrupted;
        }
        const auto absent = absentInterfaces(catalog, audit.statistics(), input.traces().channels());
        for (const std::string& name : absent) {
            console.messages << "warning: the options name an interface " << name << ", which no trace has\n";
        }
        if (!input.traces().isSound() || !absent.empty() || catalog.remarks().count(Severity::Error) > 0) {
            return InTrouble;
        }
        const bool fails = options.failOn && std::ranges::any_of(findings, [this](const Finding& finding) {
                               return finding.severity >= *options.failOn;
                           });
        return fails ? Found : Quiet;
    }

    const AuditOptions& options;
    const Console& console;
    AuditSettings settings;
    Catalog catalog;
    TraceInput input;
};

void addAuditFormat(CLI::App& command, AuditOptions& options) {
    command
        .add_option_function<std::string>(
            "--format", [&options](const std::string& name) { options.json = name == "json"; },
            "Lines of text, or one json object")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"text", "json"}));
}

void addFailOn(CLI::App& command, AuditOptions& options) {
    const auto set = [&options](const std::string& name) {
        options.failOn = name == "error"     ? std::optional(Severity::Error)
                         : name == "warning" ? std::optional(Severity::Warning)
                         : name == "note"    ? std::optional(Severity::Note)
                                             : std::nullopt;
    };
    command
        .add_option_function<std::string>(
            "--fail-on", set, "The least severity that makes the exit status 1: warning if not given")
        ->type_name("SEVERITY")
        ->check(CLI::IsMember({"error", "warning", "note", "never"}));
}

std::string ruleList() {
    std::string text = "Rules:\n";
    for (const AuditRuleInfo& info : auditRuleTable()) {
        text += "  " + std::string(info.name) + std::string(16 - info.name.size(), ' ') +
                std::string(info.about) + '\n';
    }
    return text;
}

} // namespace

int audit(const AuditOptions& options, const Console& console) {
    return AuditRun(options, console).run();
}

void addAuditCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<AuditOptions>();
    CLI::App& command = *program.add_subcommand("audit", "Tell what is odd in traces");
    command.footer(ruleList() +
                   "Example:\n  rksignal audit --dbc drive.dbc --checksum 'Engine.Checksum=xor' drive.log\n"
                   "  rksignal audit -q --fail-on error --skip constant drive.log");
    addTraceArguments(command, *options);
    addJobsArgument(command, *options);
    addAuditArguments(command, options->audit);
    addFailOn(command, *options);
    addAuditFormat(command, *options);
    addResultArguments(command, *options);
    command.callback([options, &console, &status] { status = audit(*options, console); });
}

} // namespace rksignal
