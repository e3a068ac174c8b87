#include "report/ReportCommand.h"

#include "command/FileEnding.h"
#include "command/NearMatches.h"
#include "command/SecondsArgument.h"
#include "command/TraceInput.h"
#include "command/UsageError.h"
#include "output/OutputFile.h"
#include "output/ReplaySummary.h"
#include "output/SummaryText.h"
#include "output/WindowSummary.h"
#include "page/DriveReport.h"
#include "report/PackedText.h"
#include "report/PageTemplate.h"
#include "report/PanelChoice.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <ostream>
#include <sstream>

namespace rksignal {
namespace {

constexpr std::uint64_t leastPage = 1'000'000; ///< bytes for which there is room in --max-size

/// Without folders, which mean nothing to whom the page is handed on.
std::vector<std::string> fileNames(const std::vector<std::string>& paths) {
    std::vector<std::string> names;
    for (const std::string& path : paths) {
        names.push_back(path == "-" ? "standard input" : std::filesystem::path(path).filename().string());
    }
    return names;
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

DriveReportSettings reportSettings(const ReportOptions& options) {
    DriveReportSettings settings;
    settings.audit = auditSettings(options.audit, options.strict);
    if (!options.timeout.empty()) {
        settings.timeout = parseSeconds("--timeout", options.timeout);
    }
    return settings;
}

/// One run of the command.
class ReportRun {
  public:
    ReportRun(const ReportOptions& options, const Console& console)
        : options(options), console(console), settings(reportSettings(options)), input(options, console) {
        if (!hasEnding(options.output, ".html") && !hasEnding(options.output, ".htm")) {
            throw UsageError("-o " + options.output +
                             ": the page is written in HTML: its name ends in .html");
        }
        if (options.maxSize < leastPage) {
            throw UsageError("--max-size: a page takes at least 1 MB");
        }
        loadDefinitions(options, input.traces().channels(), catalog, input.inputs());
        for (const Remark& remark : catalog.remarks()) {
            if (!options.quiet || remark.severity == Severity::Error) {
                console.messages << remark << '\n';
            }
        }
        input.open();
    }

    ExitStatus run() {
        ConditionArguments conditions = options.conditions;
        conditions.options.edgeTrigger = true;
        std::vector<Condition> compiled =
            loadConditions(conditions, catalog, input.inputs(), console, options.quiet);
        const std::vector<std::size_t> wanted = signalsLike(catalog, options.patterns);
        OutputFile file(options.output, console.output, input.inputs());
        DriveReport report(catalog, std::move(compiled), settings);
        input.run(report.messages());
        report.finish();
        const std::size_t size = write(report, wanted, file);
        if (options.quiet) {
            printDamage(console.messages, input.traces());
        } else {
            summarise(report, size);
        }
        printWindow(console.messages, input.traces(),
                    {options.time.style, input.traces().windowReport().first}, options.quiet);
        return conclude(report);
    }

  private:
    /// \return the bytes of the page
    std::size_t write(const DriveReport& report, std::span<const std::size_t> wanted, OutputFile& file) {
        OutputBuffer out(file);
        const PageData data = report.page(pageSettings(report, wanted));
        const std::string curves = packedText(data.curves);
        writePage(out, data.header, curves);
        if (out.finish()) {
            input.complete(file, report.audit().survey().totals().messages > 0);
        }
        return pageFrameSize() + data.header.size() + curves.size();
    }

    PageSettings pageSettings(const DriveReport& report, std::span<const std::size_t> wanted) const {
        PageSettings page;
        page.program = "rksignal " RKSIGNAL_VERSION;
        page.traces = fileNames(options.traces);
        for (const std::string& name : fileNames(options.gpsLogs)) {
            page.traces.push_back(name);
        }
        page.title = options.title.empty() ? joined(page.traces) : options.title;
        page.definitions = fileNames(options.definitions);
        page.remarks = remarks();
        page.panels = choosePanels(catalog, report, wanted, options.together);
        page.maxBytes = options.maxSize - std::min<std::uint64_t>(options.maxSize, pageFrameSize());
        return page;
    }

    /// What whoever reads the page should know of its sources.
    std::vector<std::string> remarks() const {
        std::ostringstream text;
        if (input.interrupted()) {
            text << "the traces were read in part only: the program was interrupted\n";
        }
        printDamage(text, input.traces());
        printWindow(text, input.traces(), {TimeStyle::Iso, 0}, false);
        if (const std::size_t errors = catalog.remarks().count(Severity::Error); errors > 0) {
            text << errors << " place" << plural(errors) << " in the definitions could not be understood\n";
        }
        return linesOf(text.str());
    }

    void summarise(const DriveReport& report, std::size_t size) const {
        const CurveRecorder& curves = report.curves();
        const auto hasValue = [&curves](std::size_t signal) { return curves.curve(signal).count() > 0; };
        const auto signals = curves.signals();
        std::uint64_t firings = 0;
        for (std::size_t i = 0; i < report.triggers().size(); ++i) {
            firings += report.triggers().counts(i).firings;
        }
        const std::uint64_t messages = report.audit().survey().totals().messages;
        const auto seen = std::ranges::count_if(signals, hasValue);
        const std::size_t findings = report.findings().size();
        const ReplayStatistics& statistics = report.audit().statistics();
        printTraces(console.messages, input.traces());
        printMisplaced(console.messages, catalog, statistics, input.traces().channels());
        printNearMatches(console.messages, catalog, statistics);
        console.messages << options.output << ": " << messages << " message" << plural(messages) << ", "
                         << seen << " of " << signals.size() << " signals with values, " << firings
                         << " firing" << plural(firings) << ", " << findings << " finding" << plural(findings)
                         << "; " << (size + 500) / 1000 << " kB\n";
        if (size > options.maxSize) {
            console.messages << "warning: that is more than --max-size: messages, signals and findings alone "
                                "take so much\n";
        }
    }

    ExitStatus conclude(const DriveReport& report) const {
        if (input.interrupted()) {
            return Interrupted;
        }
        const auto absent = absentInterfaces(catalog, report.audit().statistics(), input.traces().channels());
        for (const std::string& name : absent) {
            console.messages << "warning: the options name an interface " << name << ", which no trace has\n";
        }
        const bool understood =
            input.traces().isSound() && absent.empty() && catalog.remarks().count(Severity::Error) == 0;
        return understood ? Clean : Damaged;
    }

    const ReportOptions& options;
    const Console& console;
    DriveReportSettings settings;
    Catalog catalog;
    TraceInput input;
};

} // namespace

ExitStatus report(const ReportOptions& options, const Console& console) {
    return ReportRun(options, console).run();
}

void addReportCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<ReportOptions>();
    CLI::App& command = *program.add_subcommand("report", "Write one page that shows a drive");
    addTraceArguments(command, *options);
    addJobsArgument(command, *options);
    addConditionArguments(command, options->conditions);
    command
        .add_option("--timeout", options->timeout, "A signal not written for longer is unknown to conditions")
        ->type_name("SECONDS");
    addAuditArguments(command, options->audit);
    command
        .add_option("--only", options->patterns,
                    "Show these curves at first, e.g. 'Engine.*'; the page holds those of all signals")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    command.add_flag("--together", options->together, "Signals of one unit share a panel");
    command.add_option("--title", options->title, "Title of the page, instead of the names of the traces")
        ->type_name("TEXT");
    command
        .add_option("--max-size", options->maxSize, "The most that the page takes, as 4MB; 12MB if not given")
        ->type_name("SIZE")
        ->transform(CLI::AsSizeValue(true));
    command.add_option("-o,--output", options->output, "The page, an HTML file")
        ->type_name("FILE")
        ->required();
    command.add_flag("-q,--quiet", options->quiet, "No remarks and no summary, only errors");
    command.footer(
        "Example:\n  rksignal report --dbc drive.dbc --when 'fast = Vehicle.Speed > 100' drive.log "
        "-o drive.html\n"
        "  rksignal report --dbc drive.dbc --only 'Engine.*' --together --from +60s --for 20s drive.log "
        "-o moment.html");
    command.callback([options, &console, &status] { status = report(*options, console); });
}

} // namespace rksignal
