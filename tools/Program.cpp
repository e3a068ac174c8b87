#include "Program.h"

#include "audit/AuditCommand.h"
#include "check/CheckCommand.h"
#include "compare/CompareCommand.h"
#include "convert/ConvertCommand.h"
#include "decode/DecodeCommand.h"
#include "events/EventsCommand.h"
#include "explain/ExplainCommand.h"
#include "export/ExportCommand.h"
#include "info/InfoCommand.h"
#include "list/ListCommand.h"
#include "live/LiveCommand.h"
#include "output/OutputBuffer.h"
#include "plot/PlotCommand.h"
#include "program/CommandLine.h"
#include "program/Completion.h"
#include "program/ManualPage.h"
#include "publish/PublishCommand.h"
#include "report/ReportCommand.h"
#include "serve/ServeCommand.h"
#include "shm/ShmCommand.h"
#include "text/ClosestNames.h"
#include "text/PrintableText.h"
#include "trigger/TriggerCommand.h"
#include "watch/WatchCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iterator>
#include <new>
#include <ostream>
#include <span>
#include <sstream>
#include <string_view>

namespace rksignal {
namespace {

constexpr const char* firstSteps =
    R"(rksignal works with recorded bus traffic. To begin with a trace and its definitions:

  rksignal info drive.log                                  what is in it
  rksignal decode --dbc drive.dbc --last drive.log         the last value of each signal
  rksignal list drive.dbc                                  which signals are defined
  rksignal explain Engine.Speed --dbc drive.dbc drive.log  how a signal comes to its value

rksignal --help lists all commands, rksignal COMMAND --help the options of one.
)";

void write(const std::string& text, const Console& console) {
    OutputBuffer out(console.output);
    out.append(text);
    out.finish();
}

/// `--man` and `--completion`: what is made of the descriptions of all commands.
void addDescriptions(CLI::App& program, const Console& console) {
    const auto complete = [&](const std::string& shell) {
        const ProgramText text = describe(program);
        write(shell == "bash"  ? bashCompletion(text)
              : shell == "zsh" ? zshCompletion(text)
                               : fishCompletion(text),
              console);
        throw CLI::Success();
    };
    program
        .add_option_function<std::string>("--completion", complete,
                                          "Write what lets a shell complete rksignal")
        ->type_name("SHELL")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}))
        ->trigger_on_parse();
    const auto showManual = [&] {
        write(manualPage(describe(program), RKSIGNAL_VERSION), console);
        throw CLI::Success();
    };
    program.add_flag_callback("--man", showManual, "Write the manual page, for man -l -")->trigger_on_parse();
}

struct NamedCommand {
    std::string_view name;
    void (*add)(CLI::App& program, const Console& console, int& status);
};

constexpr NamedCommand allCommands[] = {
    {"info", addInfoCommand},       {"decode", addDecodeCommand},   {"plot", addPlotCommand},
    {"export", addExportCommand},   {"trigger", addTriggerCommand}, {"audit", addAuditCommand},
    {"report", addReportCommand},   {"live", addLiveCommand},       {"serve", addServeCommand},
    {"list", addListCommand},       {"explain", addExplainCommand}, {"watch", addWatchCommand},
    {"events", addEventsCommand},   {"check", addCheckCommand},     {"convert", addConvertCommand},
    {"compare", addCompareCommand}, {"publish", addPublishCommand}, {"shm", addShmCommand},
};

/// Adds the command of this name alone, as describing all of them takes longer than most commands need to
/// start; all for other arguments, such as --help.
void addCommands(CLI::App& program, const std::string& name, const Console& console, int& status) {
    const auto* const named = std::ranges::find(allCommands, name, &NamedCommand::name);
    const std::span<const NamedCommand> all(allCommands);
    for (const NamedCommand& command : named != std::end(allCommands) ? std::span(named, 1) : all) {
        command.add(program, console, status);
    }
}

/// What comes close to the name of a command that there is not; empty if there is one.
std::string wrongCommand(const std::string& name) {
    std::vector<std::string_view> names;
    std::ranges::transform(allCommands, std::back_inserter(names), &NamedCommand::name);
    return name.starts_with('-') || std::ranges::count(names, name) > 0
               ? ""
               : "there is no command " + printable(name) + closestNames(name, names);
}

/// Parses the arguments, which runs a command. What the parser has to say is written: help and version to the
/// output, complaints to the messages.
void parse(CLI::App& program, const std::vector<std::string>& arguments, const Console& console,
           int& status) {
    try {
        program.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend())); // last one first
    } catch (const CLI::ParseError& event) {
        std::ostringstream text;
        status = program.exit(event, text, console.messages) == 0 ? Clean : Unusable;
        write(text.str(), console);
    }
}

} // namespace

int runProgram(const std::vector<std::string>& arguments, const Console& console) {
    if (arguments.empty()) {
        console.messages << firstSteps;
        return Unusable;
    }
    CLI::App program("Works with the signals of a vehicle's buses", "rksignal");
    program.footer("rksignal COMMAND --help shows the options of a command and examples.");
    program.set_version_flag("--version", "rksignal " RKSIGNAL_VERSION);
    program.require_subcommand(1);
    int status = Clean;
    if (const std::string message = wrongCommand(arguments.front()); !message.empty()) {
        console.messages << "rksignal: " << message << "\nRun with --help for more information.\n";
        return Unusable;
    }
    addCommands(program, arguments.front(), console, status);
    addDescriptions(program, console);
    try {
        parse(program, arguments, console, status);
    } catch (const std::bad_alloc&) {
        console.messages << "rksignal: out of memory\n";
        return Unusable;
    } catch (const std::exception& error) {
        console.messages << "rksignal: " << error.what() << '\n';
        return Unusable;
    }
    return status;
}

} // namespace rksignal
