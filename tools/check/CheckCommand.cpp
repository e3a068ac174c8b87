#include "check/CheckCommand.h"

#include "command/DefinitionArguments.h"
#include "command/UsageError.h"
#include "output/OutputBuffer.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>
#include <sstream>

namespace rksignal {
namespace {

/// A number of things: `1 error`, `2 errors`, `no errors`.
std::string quantity(std::size_t number, const std::string& thing) {
    return (number == 0 ? "no" : std::to_string(number)) + " " + thing + (number == 1 ? "" : "s");
}

/// One run of the command.
class CheckRun {
  public:
    CheckRun(const CheckOptions& options, const Console& console)
        : definitions(options), conditions(options.conditions), console(console), out(console.output) {
        for (const std::string& path : options.files) {
            filesLike(path).push_back(path);
        }
    }

    ExitStatus run() {
        if (definitions.definitions.empty() && conditions.files.empty() && conditions.when.empty()) {
            throw UsageError("there is nothing to check");
        }
        InputSet inputs; // nothing is written
        loadDefinitions(definitions, channels, catalog, inputs);
        const std::vector<ConditionText> texts = readConditions(conditions, remarks);
        const std::vector<Condition> compiled = compileConditions(texts, catalog, conditions.options);
        add(compiled);
        const std::string report = reportText(texts.size());
        if (conditions.print) {
            console.messages << report;
            print(compiled);
        } else {
            out.append(report);
        }
        out.finish(); // a reader that has gone has seen enough
        return conclude();
    }

  private:
    std::vector<std::string>& filesLike(const std::string& path) {
        return isDefinitionFile(path) ? definitions.definitions : conditions.files;
    }

    void add(const std::vector<Condition>& compiled) {
        for (const Condition& condition : compiled) {
            for (const Remark& remark : condition.remarks()) {
                remarks.add(remark);
            }
        }
    }

    void print(const std::vector<Condition>& compiled) {
        for (const Condition& condition : compiled) {
            out.append(printedCondition(condition));
        }
    }

    std::string reportText(std::size_t conditionCount) const {
        std::ostringstream text;
        for (const Remark& remark : catalog.remarks().kept()) {
            text << remark << '\n';
        }
        for (const Remark& remark : remarks) {
            printWithSeverity(text, remark);
        }
        if (remarks.omitted() > 0) {
            text << "and " << remarks.omitted() << " more remarks about conditions\n";
        }
        text << summary(conditionCount) << '\n';
        return text.str();
    }

    std::string summary(std::size_t conditionCount) const {
        std::string text;
        if (!definitions.definitions.empty()) {
            text = quantity(definitions.definitions.size(), "definition file") + ": " +
                   quantity(messageCount(), "message") + ", " + quantity(catalog.signals().size(), "signal") +
                   ", " + quantity(definitionErrors(), "error");
        }
        if (!conditions.files.empty() || !conditions.when.empty()) {
            text += (text.empty() ? "" : "; ") + quantity(conditionCount, "condition") + ": " +
                    quantity(remarks.count(Severity::Error), "error") + ", " +
                    quantity(remarks.count(Severity::Warning), "warning");
        }
        return text;
    }

    /// Inputs have none.
    std::size_t messageCount() const {
        const auto& messages = catalog.messages();
        return static_cast<std::size_t>(
            std::count_if(messages.begin(), messages.end(), [](const MessageDefinition& message) {
                return message.kind <= SignalKind::Ethernet;
            }));
    }
    std::size_t definitionErrors() const { return catalog.remarks().count(Severity::Error); }

    ExitStatus conclude() const {
        const bool isClean = definitionErrors() == 0 && remarks.count(Severity::Error) == 0 &&
                             remarks.count(Severity::Warning) == 0;
        return isClean ? Clean : Damaged;
    }

    DefinitionOptions definitions;
    ConditionArguments conditions;
    const Console& console;
    Catalog catalog;
    ChannelMap channels;
    RemarkList remarks;
    OutputBuffer out;
};

} // namespace

ExitStatus check(const CheckOptions& options, const Console& console) {
    return CheckRun(options, console).run();
}

void addCheckCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<CheckOptions>();
    CLI::App& command = *program.add_subcommand("check", "Check definitions and conditions without a trace");
    command.add_option("FILE", options->files, "Definition files and files of conditions");
    addDefinitionArguments(command, *options);
    addConditionArguments(command, options->conditions);
    addPrintArgument(command, options->conditions);
    command.footer("Examples:\n  rksignal check drive.dbc limits.txt\n"
                   "  rksignal check drive.dbc --print --when 'Gear.Current == \"Sixth\"'");
    command.callback([options, &console, &status] { status = check(*options, console); });
}

} // namespace rksignal
