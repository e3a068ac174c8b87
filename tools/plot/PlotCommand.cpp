#include "plot/PlotCommand.h"

#include "command/TraceRun.h"
#include "command/UsageError.h"
#include "curve/CurveRecorder.h"
#include "curve/SignalChoice.h"
#include "decode/SignalSelection.h"
#include "output/ListText.h"
#include "output/OutputFile.h"
#include "plot/ConditionLanes.h"
#include "plot/FigureBuilder.h"
#include "plot/PlotForm.h"
#include "text/PrintableText.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <ostream>
#include <unistd.h>

namespace rksignal {
namespace {

constexpr std::size_t chosenSignals = 6; // where none is named

/// One run of the command.
class PlotRun {
  public:
    PlotRun(const PlotOptions& options, const Console& console, const std::vector<std::string>& patterns)
        : options(options), console(console), form(options, console.output), run(options, console),
          isChosen(patterns.empty()) {
        for (const std::string& pattern : patterns) {
            run.catalog().addSources(pattern);
        }
        conditions = loadConditions(options.conditions, run.catalog(), run.inputs(), console, options.quiet);
        named = isChosen ? std::vector<std::size_t>() : selectInOrder(run.catalog(), patterns, "");
    }

    ExitStatus draw() {
        OutputFile file(options.output, console.output, run.inputs());
        OutputBuffer out(file);
        if (!form.isText() && out.isTerminal()) {
            throw UsageError("this form is not for a terminal: -o says where it is written");
        }
        readConditionSignals();
        CurveRecorder curves(run.catalog(), named, {});
        Triggers triggers(run.catalog(), std::move(conditions));
        ConditionLanes lanes(triggers);
        triggers.addValueSink(curves);
        triggers.addFiringSink(lanes);
        const ReplayStatistics statistics = run.replay(triggers, nullptr);
        triggers.finish();
        curves.finish();
        const bool isDrawn = write(curves, lanes, out);
        if (isDrawn && !out.finish()) {
            return Clean; // the reader has seen enough
        }
        if (isDrawn) {
            run.complete(file, statistics);
        }
        run.summarise(statistics);
        if (!isDrawn) {
            throw std::runtime_error("there is nothing to draw: none of the signals has a value");
        }
        return run.interrupted() ? Interrupted : run.understood(statistics) ? Clean : Damaged;
    }

  private:
    /// The signals of the conditions are shown where none is named.
    void readConditionSignals() {
        for (const Condition& condition : conditions) {
            for (const BaseSignal* const signal : condition.signals()) {
                const std::size_t index = run.catalog().indexOf(signal->id);
                if (std::ranges::find(ofConditions, index) == ofConditions.end()) {
                    ofConditions.push_back(index);
                }
            }
        }
    }

    /// \return whether there was anything to draw
    bool write(const CurveRecorder& curves, ConditionLanes& lanes, OutputBuffer& out) {
        const std::vector<std::size_t> shown =
            isChosen ? chooseSignals(run.catalog(), curves, ofConditions, chosenSignals)
                     : withSources(curves);
        Figure figure = figureOf(run.catalog(), curves, shown, {form.columns(), options.together});
        nameMissing(curves, shown);
        if (figure.panels.empty()) {
            return false;
        }
        figure.title = title();
        figure.times = run.times();
        figure.lanes = lanes.lanes(figure.to);
        out.append(form.draw(figure));
        return true;
    }

    /// The named signals, each with its instances for further senders (SAE J1939) behind it.
    std::vector<std::size_t> withSources(const CurveRecorder& curves) {
        std::vector<std::size_t> shown;
        const std::vector<std::size_t> recorded = curves.signals();
        for (const std::size_t signal : named) {
            shown.push_back(signal);
            for (const std::size_t other : recorded) {
                const bool isNamed = std::ranges::find(named, other) != named.end();
                if (!isNamed && run.catalog().definedSignal(other) == signal) {
                    shown.push_back(other);
                }
            }
        }
        return shown;
    }

    void nameMissing(const CurveRecorder& curves, const std::vector<std::size_t>& shown) {
        std::vector<std::string> names;
        for (const std::size_t signal : shown) {
            if (curves.curve(signal).kind() == CurveKind::Empty) {
                names.push_back(printable(run.catalog().signals()[signal]->def.instance));
            }
        }
        if (!names.empty() && !options.quiet) {
            console.messages << "without a value: ";
            printList(console.messages, names, [&](const std::string& name) { console.messages << name; });
        }
    }

    std::string title() const {
        const std::vector<std::string>& files = options.traces.empty() ? options.gpsLogs : options.traces;
        const std::string& first = files.front();
        const std::string name =
            first == "-" ? "standard input" : std::filesystem::path(first).filename().native();
        return printable(name) +
               (files.size() == 1 ? "" : " and " + std::to_string(files.size() - 1) + " more");
    }

    const PlotOptions& options;
    const Console& console;
    PlotForm form;
    TraceRun run;
    bool isChosen;                         ///< no signal is named
    std::vector<std::size_t> named;        ///< by index in Catalog::signals()
    std::vector<std::size_t> ofConditions; ///< the same
    std::vector<Condition> conditions;
};

/// Takes the traces, which are the arguments that name files, out of the arguments. Without one the last
/// argument is meant to be one, unless there is another trace. \return the others
std::vector<std::string> takeTraces(PlotOptions& options) {
    std::vector<std::string> patterns;
    for (const std::string& argument : options.arguments) {
        const bool isFile = argument == "-" || access(argument.c_str(), F_OK) == 0;
        (isFile ? options.traces : patterns).push_back(argument);
    }
    if (options.traces.empty() && options.gpsLogs.empty() && !patterns.empty()) {
        throw UsageError("there is no trace: none of the arguments is a file; " + patterns.back() +
                         " is not there");
    }
    return patterns;
}

} // namespace

ExitStatus plot(const PlotOptions& given, const Console& console) {
    PlotOptions options = given;
    const std::vector<std::string> patterns = takeTraces(options);
    if (options.output == "-") {
        options.output.clear();
        options.form = options.form.empty() && !options.terminal ? "svg" : options.form;
    }
    options.conditions.options.edgeTrigger = true;
    return PlotRun(options, console, patterns).draw();
}

void addPlotCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<PlotOptions>();
    options->time.style = TimeStyle::Relative;
    CLI::App& command = *program.add_subcommand("plot", "Draw curves of signals");
    command
        .add_option(
            "INSTANCE... TRACE", options->arguments,
            "Names of signals, or patterns as 'Engine.*', and traces; what is the name of a file is a "
            "trace. Without a name, what tells most about the drive")
        ->type_name("");
    addReplayArguments(command, *options);
    addConditionArguments(command, options->conditions);
    command.add_flag("--together", options->together, "Signals of one unit share a panel");
    command.add_option("--format", options->form, "svg, png, pdf or text; without it, as FILE ends")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"svg", "png", "pdf", "text"}));
    CLI::Option* const terminal =
        command.add_flag("--terminal", options->terminal, "Draw with characters, as without -o");
    terminal->excludes("--format");
    command.add_option("--width", options->width, "In pixels, or cells of a terminal")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    command.add_option("--height", options->height, "In pixels, or lines of a terminal; of PDF, of a page")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    command
        .add_option_function<std::string>(
            "--theme", [options](const std::string& name) { options->dark = name == "dark"; },
            "light or dark")
        ->type_name("THEME")
        ->check(CLI::IsMember({"light", "dark"}));
    command
        .add_option("-o,--output", options->output,
                    "Write a picture, by its ending SVG, PNG or PDF; - is standard output")
        ->type_name("FILE");
    command.add_flag("-q,--quiet", options->quiet, "No remarks and no summary, only errors");
    command.footer("Examples:\n  rksignal plot --dbc drive.dbc Engine.Speed 'Gear.*' drive.log\n"
                   "  rksignal plot --dbc drive.dbc --when 'Vehicle.Speed > 100' --from +60 --to +120 "
                   "-o drive.svg drive.log");
    command.callback([options, &console, &status] { status = plot(*options, console); });
}

} // namespace rksignal
