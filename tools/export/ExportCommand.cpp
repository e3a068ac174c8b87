#include "export/ExportCommand.h"

#include "command/FileEnding.h"
#include "command/TraceRun.h"
#include "command/UsageError.h"
#include "decode/SignalSelection.h"
#include "export/JsonTable.h"
#include "export/MatTable.h"
#include "export/TableSummary.h"
#include "output/OutputFile.h"
#include "text/ClosestNames.h"
#include "text/Moment.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>

namespace rksignal {
namespace {

std::uint64_t exportDuration(const std::string& option, const std::string& text) {
    const auto duration = parseDuration(text);
    if (!duration || *duration == 0) {
        throw UsageError(option + " " + text + ": not a duration, such as 10ms, 500us, 2.5s or 1min");
    }
    return *duration;
}

/// The form that is asked for, by the option or by the name of the output.
std::string chosenForm(const ExportOptions& options) {
    if (!options.form.empty()) {
        return options.form;
    }
    for (const char* const form : {"jsonl", "mat"}) {
        if (hasEnding(options.output, std::string(".") + form)) {
            return form;
        }
    }
    return "csv";
}

char oneSign(const std::string& option, const std::string& text) {
    const char sign = text == "tab" ? '\t' : text.size() == 1 ? text.front() : '\0';
    constexpr std::string_view partsOfNumbers = "\"\r\n+-0123456789";
    const bool isLetter = (sign >= 'a' && sign <= 'z') || (sign >= 'A' && sign <= 'Z');
    if (sign == '\0' || isLetter || partsOfNumbers.find(sign) != partsOfNumbers.npos) {
        throw UsageError(option + " " + text + ": not one sign that stands in no number, such as ; or tab");
    }
    return sign;
}

CsvSigns chosenSigns(const ExportOptions& options, const std::string& form) {
    if (form != "csv" && !(options.separator.empty() && options.decimal.empty())) {
        throw UsageError("--separator and --decimal are for CSV only");
    }
    if (form == "mat" && options.time.style != TimeStyle::Epoch) {
        throw UsageError("--time is not for MAT-files: their times count from `start`");
    }
    CsvSigns signs;
    signs.decimal = options.decimal.empty() ? '.' : options.decimal.front();
    if (!options.separator.empty()) {
        signs.separator = oneSign("--separator", options.separator);
    } else if (signs.decimal == ',') {
        signs.separator = ';';
    }
    if (signs.separator == signs.decimal) {
        throw UsageError("--separator and --decimal: one sign cannot be both");
    }
    return signs;
}

/// One run of the command.
class ExportRun {
  public:
    ExportRun(const ExportOptions& options, const Console& console)
        : options(options), console(console), form(chosenForm(options)), signs(chosenSigns(options, form)),
          step(options.step.empty() ? 0 : exportDuration("--step", options.step)),
          maxAge(options.maxAge.empty() ? std::nullopt
                                        : std::optional(exportDuration("--max-age", options.maxAge))),
          run(options, console) {}

    ExitStatus write() {
        if (options.step.empty() && options.trigger.empty()) {
            throw UsageError("--step or --on says when there is a row");
        }
        OutputFile file(options.output, console.output, run.inputs());
        OutputBuffer out(file);
        if (form == "mat" && out.isTerminal()) {
            throw UsageError("a MAT-file is not for a terminal: -o says where it is written");
        }
        selectColumns();
        const GridSettings settings = gridSettings();
        const std::unique_ptr<Table> table = makeTable(out);
        SignalGrid grid(run.catalog(), selected, settings, *table);
        const ReplayStatistics statistics = run.replay(grid, &out);
        grid.finish();
        table->finish();
        if (!out.finish()) {
            return Clean; // the reader has seen enough
        }
        run.complete(file, statistics);
        run.summarise(statistics);
        if (!options.quiet) {
            printTableSummary(console.messages, run.catalog(), selected, grid, run.times());
        }
        return run.interrupted() ? Interrupted : run.understood(statistics) ? Clean : Damaged;
    }

  private:
    void selectColumns() {
        run.catalog().addSources(options.trigger);
        for (const std::string& pattern : options.patterns) {
            run.catalog().addSources(pattern);
        }
        selected = selectInOrder(run.catalog(), options.patterns);
    }

    GridSettings gridSettings() {
        GridSettings settings{
            .step = step, .origin = {}, .trigger = 0, .interpolate = options.interpolate, .maxAge = maxAge};
        if (step == 0) {
            settings.trigger = triggerIndex();
        } else if (!options.time.from.empty()) {
            settings.origin = run.momentOf("--from", options.time.from);
        }
        return settings;
    }

    std::size_t triggerIndex() {
        const auto& signals = run.catalog().signals();
        std::vector<std::string_view> names;
        for (const auto& signal : signals) {
            names.push_back(signal->def.instance);
        }
        const auto found = std::find(names.begin(), names.end(), options.trigger);
        if (found == names.end()) {
            throw UsageError("--on " + options.trigger + ": there is no such signal" +
                             closestNames(options.trigger, names));
        }
        return static_cast<std::size_t>(found - names.begin());
    }

    std::unique_ptr<Table> makeTable(OutputBuffer& out) {
        std::vector<TableColumn> columns;
        for (const std::size_t index : selected) {
            const baseSignalDef_t& definition = run.catalog().signals()[index]->def;
            columns.push_back({definition.instance, definition.unit});
        }
        if (form == "mat") {
            return std::make_unique<MatTable>(columns, run.momentOf("--from", "+0"), out);
        }
        if (form == "jsonl") {
            return std::make_unique<JsonTable>(columns, run.times(), out);
        }
        return std::make_unique<CsvTable>(columns, run.times(), signs, out);
    }

    const ExportOptions& options;
    const Console& console;
    std::string form;
    CsvSigns signs;
    std::uint64_t step;
    std::optional<std::uint64_t> maxAge;
    TraceRun run;
    std::vector<std::size_t> selected; ///< by index in Catalog::signals(), in the order of the columns
};

} // namespace

ExitStatus exportTable(const ExportOptions& options, const Console& console) {
    return ExportRun(options, console).write();
}

void addExportCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<ExportOptions>();
    CLI::App& command = *program.add_subcommand("export", "Write a table of signals on one time grid");
    addTraceArguments(command, *options);
    addJobsArgument(command, *options);
    command
        .add_option("--only", options->patterns,
                    "Only signals whose name matches, e.g. 'Engine.*'; columns in this order")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    CLI::Option* const step =
        command.add_option("--step", options->step, "A row every so long: 10ms, 500us, 1s")
            ->type_name("DURATION");
    command.add_option("--on", options->trigger, "A row for each value of this signal")
        ->type_name("INSTANCE")
        ->excludes(step);
    command.add_flag("--interpolate", options->interpolate,
                     "Interpolate between values; states, counters and values with texts are held");
    command.add_option("--max-age", options->maxAge, "Values older than this leave their cells empty")
        ->type_name("DURATION");
    command.add_option("--format", options->form, "csv, jsonl or mat; without it, as FILE ends")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"csv", "jsonl", "mat"}));
    command.add_option("--separator", options->separator, "Between the cells of CSV: one sign, or tab")
        ->type_name("SIGN");
    command.add_option("--decimal", options->decimal, "Decimal mark of CSV; with , cells are separated by ;")
        ->type_name("SIGN")
        ->check(CLI::IsMember({".", ","}));
    command.add_option("-o,--output", options->output, "Write to this file instead of standard output")
        ->type_name("FILE");
    command.add_flag("-q,--quiet", options->quiet, "No remarks and no summary, only errors");
    command.footer("Example:\n  rksignal export --dbc drive.dbc --only Engine.Speed --only Gear.Current "
                   "--step 10ms -o table.csv drive.log");
    command.callback([options, &console, &status] { status = exportTable(*options, console); });
}

} // namespace rksignal
