#include "check/CheckCommand.h"

#include "command/DefinitionArguments.h"
#include "file/OutputBuffer.h"
#include "text/DbcWords.h"
#include "trace/LineReader.h"
#include "trace/UsageError.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>
#include <sstream>

namespace rksignal {
namespace {

bool hasDbcExtension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension == ".dbc";
}

/// Whether a line starts a statement of a DBC file, as `VERSION ""`, `NS_ :` or `BO_ 291 Engine: 8 X`. Behind
/// a name in an expression stands an operator.
bool startsDbcStatement(std::string_view line) {
    const std::size_t first = line.find_first_not_of(" \t");
    if (first == line.npos) {
        return false;
    }
    const std::size_t wordEnd = std::min(line.find_first_of(" \t:\"", first), line.size());
    const std::size_t next = line.find_first_not_of(" \t", wordEnd);
    return isDbcKeyword(line.substr(first, wordEnd - first)) &&
           (next == line.npos || line[next] == '"' || line[next] == ':' || isDigit(line[next]));
}

bool isDbcFile(const std::string& path) {
    if (path == "-" || hasDbcExtension(path)) {
        return path != "-";
    }
    InputFile file(path);
    LineReader reader(file);
    std::string_view line;
    while (reader.next(line)) {
        if (line.find_first_not_of(" \t\r") != line.npos) {
            return startsDbcStatement(line);
        }
    }
    return false;
}

/// A number of things: `1 error`, `2 errors`, `no errors`.
std::string quantity(std::size_t number, const std::string& thing) {
    return (number == 0 ? "no" : std::to_string(number)) + " " + thing + (number == 1 ? "" : "s");
}

/// One run of the command.
class CheckRun {
  public:
    CheckRun(const CheckOptions& options, const Console& console)
        : definitions(options), conditions(options.conditions), out(console.output) {
        for (const std::string& path : options.files) {
            filesLike(path).push_back(path);
        }
    }

    ExitStatus run() {
        if (definitions.empty() && conditions.files.empty() && conditions.when.empty()) {
            throw UsageError("there is nothing to check");
        }
        InputSet inputs; // nothing is written
        loadDefinitions(definitions, channels, catalog, inputs);
        const std::vector<ConditionText> texts = readConditions(conditions, findings);
        compileConditions(texts, catalog.storage(), conditions.options, findings);
        write(catalog.remarks().kept());
        write(findings);
        write(std::vector{summary(texts.size())});
        out.finish(); // a reader that has gone has seen enough
        return conclude();
    }

  private:
    std::vector<std::string>& filesLike(const std::string& path) {
        if (isSignalFile(path)) {
            return definitions.signalFiles;
        }
        return isDbcFile(path) ? definitions.definitions : conditions.files;
    }

    template <typename Line>
    void write(const std::vector<Line>& lines) {
        std::ostringstream text;
        for (const Line& line : lines) {
            text << line << '\n';
        }
        out.append(text.str());
    }

    std::string summary(std::size_t conditionCount) const {
        std::string text;
        if (!definitions.empty()) {
            text =
                quantity(definitions.definitions.size() + definitions.signalFiles.size(), "definition file") +
                ": " + quantity(catalog.decoders().size(), "message") + ", " +
                quantity(catalog.signals().size(), "signal") + ", " + quantity(definitionErrors(), "error");
        }
        if (!conditions.files.empty() || !conditions.when.empty()) {
            text += (text.empty() ? "" : "; ") + quantity(conditionCount, "condition") + ": " +
                    quantity(count(findings, Finding::Severity::Error), "error") + ", " +
                    quantity(count(findings, Finding::Severity::Warning), "warning");
        }
        return text;
    }

    std::size_t definitionErrors() const { return catalog.remarks().count(Severity::Error); }

    ExitStatus conclude() const {
        const bool isClean = definitionErrors() == 0 && count(findings, Finding::Severity::Error) == 0 &&
                             count(findings, Finding::Severity::Warning) == 0;
        return isClean ? Clean : Damaged;
    }

    DefinitionOptions definitions;
    ConditionArguments conditions;
    Catalog catalog;
    ChannelMap channels;
    std::vector<Finding> findings;
    OutputBuffer out;
};

} // namespace

ExitStatus check(const CheckOptions& options, const Console& console) {
    return CheckRun(options, console).run();
}

void addCheckCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<CheckOptions>();
    CLI::App& command = *program.add_subcommand("check", "Check definitions and conditions without a trace");
    command.add_option("FILE", options->files, "Definition files (.dbc, .json) and files of conditions");
    addDefinitionArguments(command, *options);
    addConditionArguments(command, options->conditions);
    command.callback([options, &console, &status] { status = check(*options, console); });
}

} // namespace rksignal
