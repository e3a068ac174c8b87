#include "Program.h"

#include "check/CheckCommand.h"
#include "convert/ConvertCommand.h"
#include "decode/DecodeCommand.h"
#include "events/EventsCommand.h"
#include "output/OutputBuffer.h"
#include "trigger/TriggerCommand.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <ostream>
#include <sstream>

namespace rksignal {
namespace {

/// Writes what the parser has to say: help and version go to the output, complaints to the messages.
int report(const CLI::App& program, const CLI::ParseError& event, const Console& console) {
    std::ostringstream text;
    const bool isRequest = program.exit(event, text, console.messages) == 0;
    OutputBuffer(console.output).append(text.str());
    return isRequest ? Clean : Unusable;
}

} // namespace

int runProgram(const std::vector<std::string>& arguments, const Console& console) {
    CLI::App program("Works with the signals of a vehicle's buses", "rksignal");
    program.set_version_flag("--version", "rksignal " RKSIGNAL_VERSION);
    program.require_subcommand(1);
    int status = Clean;
    addDecodeCommand(program, console, status);
    addTriggerCommand(program, console, status);
    addEventsCommand(program, console, status);
    addCheckCommand(program, console, status);
    addConvertCommand(program, console, status);
    try {
        program.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend())); // last one first
    } catch (const CLI::ParseError& event) {
        return report(program, event, console);
    } catch (const std::exception& error) {
        console.messages << "rksignal: " << error.what() << '\n';
        return Unusable;
    }
    return status;
}

} // namespace rksignal
