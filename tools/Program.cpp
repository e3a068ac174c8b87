#include "Program.h"

#include "audit/AuditCommand.h"
#include "check/CheckCommand.h"
#include "compare/CompareCommand.h"
#include "convert/ConvertCommand.h"
#include "decode/DecodeCommand.h"
#include "events/EventsCommand.h"
#include "info/InfoCommand.h"
#include "output/OutputBuffer.h"
#include "trigger/TriggerCommand.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <new>
#include <ostream>
#include <sstream>

namespace rksignal {
namespace {

/// Parses the arguments, which runs a command. What the parser has to say is written: help and version to the
/// output, complaints to the messages.
void parse(CLI::App& program, const std::vector<std::string>& arguments, const Console& console,
           int& status) {
    try {
        program.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend())); // last one first
    } catch (const CLI::ParseError& event) {
        std::ostringstream text;
        status = program.exit(event, text, console.messages) == 0 ? Clean : Unusable;
        OutputBuffer out(console.output);
        out.append(text.str());
        out.finish();
    }
}

} // namespace

int runProgram(const std::vector<std::string>& arguments, const Console& console) {
    CLI::App program("Works with the signals of a vehicle's buses", "rksignal");
    program.set_version_flag("--version", "rksignal " RKSIGNAL_VERSION);
    program.require_subcommand(1);
    int status = Clean;
    addInfoCommand(program, console, status);
    addDecodeCommand(program, console, status);
    addTriggerCommand(program, console, status);
    addAuditCommand(program, console, status);
    addEventsCommand(program, console, status);
    addCheckCommand(program, console, status);
    addConvertCommand(program, console, status);
    addCompareCommand(program, console, status);
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
