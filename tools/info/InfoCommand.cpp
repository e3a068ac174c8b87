#include "info/InfoCommand.h"

#include "command/TraceInput.h"
#include "command/UsageError.h"
#include "info/BitRates.h"
#include "info/DefinitionRank.h"
#include "info/InfoReport.h"
#include "output/OutputFile.h"
#include "output/ReplaySummary.h"
#include "output/WindowSummary.h"
#include "survey/DefinedFrames.h"
#include "survey/Survey.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>

namespace rksignal {
namespace {

/// One run of the command.
class InfoRun {
  public:
    InfoRun(const InfoOptions& options, const Console& console)
        : options(options), console(console), rates(options.bitRates), input(options, console) {
        loadDefinitions(options, input.traces().channels(), catalog, input.inputs());
        input.open();
    }

    ExitStatus run() {
        OutputFile file(options.output, console.output, input.inputs());
        OutputBuffer out(file);
        const TimeFormat times = input.times();
        input.run(survey);
        const InfoReport report{input.traces(), survey, rates, rows(), fits(), times};
        write(report, out);
        if (!out.finish()) {
            return Clean; // the reader has seen enough
        }
        input.complete(file, survey.totals().messages > 0);
        summarise(report);
        if (input.interrupted()) {
            return Interrupted;
        }
        return input.traces().isSound() ? Clean : Damaged;
    }

  private:
    std::vector<FrameRow> rows() {
        DefinedFrames defined(catalog);
        std::vector<FrameRow> rows;
        for (const FrameStatistics& each : survey.frames()) {
            rows.push_back({&each, defined.namesOf(each.identity)});
        }
        sortRows(rows, options.sort);
        return rows;
    }

    /// Of each file by itself.
    std::vector<DefinitionFit> fits() {
        std::vector<DefinitionFit> fits;
        for (const std::string& argument : options.definitions) {
            DefinitionOptions alone;
            alone.definitions = {argument};
            alone.clusters = options.clusters;
            Catalog one;
            ChannelMap channels = input.traces().channels();
            loadDefinitions(alone, channels, one, input.inputs());
            fits.push_back(fitOf(argument, one, survey));
        }
        rank(fits);
        return fits;
    }

    void write(const InfoReport& report, OutputBuffer& out) const {
        if (options.wholeJson) {
            report.writeJson(out);
        } else if (options.syntax != nullptr) {
            report.writeRows(out, *options.syntax);
        } else {
            report.writeOverview(out);
            report.writeTable(out);
        }
    }

    void summarise(const InfoReport& report) const {
        if (options.quiet) {
            printDamage(console.messages, input.traces());
        } else {
            printTraces(console.messages, input.traces());
        }
        printWindow(console.messages, input.traces(), report.times, options.quiet);
    }

    const InfoOptions& options;
    const Console& console;
    BitRates rates;
    Catalog catalog;
    TraceInput input;
    Survey survey;
};

void addSortArgument(CLI::App& command, std::string& sort) {
    std::vector<std::string> names;
    for (const FrameColumn& column : frameColumns()) {
        names.emplace_back(column.name);
    }
    command.add_option("--sort", sort, "Sort by this column, the greatest number first")
        ->type_name("COLUMN")
        ->check(CLI::IsMember(names));
}

void addFormatArgument(CLI::App& command, InfoOptions& options) {
    const auto set = [&options](const std::string& name) {
        options.wholeJson = name == "json";
        options.syntax = name == "csv" ? &csvSyntax : name == "jsonl" ? &jsonSyntax : nullptr;
    };
    command
        .add_option_function<std::string>("--format", set, "Rows as csv or jsonl, or all as one json object")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"csv", "jsonl", "json"}));
}

/// Definition files may stand among the traces, as a shell puts them for `--dbc *.dbc`.
void sortFiles(InfoOptions& options) {
    for (const std::string& path : options.files) {
        (path != "-" && isDefinitionFile(path) ? options.definitions : options.traces).push_back(path);
    }
}

} // namespace

ExitStatus info(const InfoOptions& options, const Console& console) {
    return InfoRun(options, console).run();
}

void addInfoCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<InfoOptions>();
    CLI::App& command = *program.add_subcommand("info", "Tell what is in traces, without definitions");
    command.footer("Example:\n  rksignal info --bitrate 500k --sort gap_ms drive.log\n"
                   "  rksignal info drive.log --dbc *.dbc    # which definitions fit?");
    command.add_option("FILE", options->files,
                       "Traces, merged by time, and definitions; - is standard input");
    addTraceReadingArguments(command, *options);
    addJobsArgument(command, *options);
    command
        .add_option("--bitrate", options->bitRates, "Bit rates of CAN or LIN, for the load: 500k, 0=500k/2M")
        ->type_name("[BUS:][CHANNEL=]RATE[/DATARATE]")
        ->allow_extra_args(false);
    addSortArgument(command, options->sort);
    addFormatArgument(command, *options);
    addResultArguments(command, *options);
    command.callback([options, &console, &status] {
        sortFiles(*options);
        status = info(*options, console);
    });
}

} // namespace rksignal
