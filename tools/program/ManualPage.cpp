#include "program/ManualPage.h"

#include <sstream>

namespace rksignal {
namespace {

/// Text as roff takes it: `-` and `\` stand for themselves, and no line starts a request.
std::string roff(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        const bool startsLine = escaped.empty() || escaped.back() == '\n';
        if (startsLine && (character == '.' || character == '\'')) {
            escaped += "\\&";
        }
        escaped += character == '\\' ? "\\e" : character == '-' ? "\\-" : std::string(1, character);
    }
    return escaped;
}

/// `FILE...`, in brackets if it can be left out.
std::string synopsisOf(const OptionText& argument) {
    const std::string name = argument.names.front() + (argument.isRepeated ? "..." : "");
    return argument.isRequired ? name : "[" + name + "]";
}

std::string listOf(const std::vector<std::string>& items, const char* separator) {
    std::string list;
    for (const std::string& item : items) {
        list += (list.empty() ? "" : separator) + item;
    }
    return list;
}

void writeOptions(const CommandText& command, std::ostream& out) {
    for (const OptionText& option : command.options) {
        const std::string value = option.choices.empty() ? option.value : listOf(option.choices, "|");
        out << ".TP\n\\fB" << roff(listOf(option.names, ", ")) << "\\fR";
        out << (value.empty() ? "" : " \\fI" + roff(value) + "\\fR") << '\n'
            << roff(option.description) << '\n';
    }
}

/// As they stand, without their heading.
void writeExamples(const std::string& examples, std::ostream& out) {
    const std::size_t heading = examples.find('\n');
    if (heading != examples.npos) {
        out << ".PP\n.nf\n" << roff(examples.substr(heading + 1)) << "\n.fi\n";
    }
}

void writeCommand(const CommandText& command, std::ostream& out) {
    out << ".SS \"rksignal " << roff(command.name) << " [OPTIONS]";
    for (const OptionText& option : command.options) {
        out << (option.isPositional ? " " + roff(synopsisOf(option)) : "");
    }
    out << "\"\n" << roff(command.description) << ".\n";
    writeOptions(command, out);
    writeExamples(command.examples, out);
}

} // namespace

std::string manualPage(const ProgramText& text, const std::string& version) {
    std::ostringstream out;
    out << ".TH RKSIGNAL 1 \"\" \"rksignal " << roff(version) << "\" \"User Commands\"\n"
        << ".SH NAME\nrksignal \\- " << roff(text.program.description) << '\n'
        << ".SH SYNOPSIS\n.B rksignal\n\\fICOMMAND\\fR [\\fIOPTIONS\\fR]...\n"
        << ".SH DESCRIPTION\n"
        << roff(text.program.description) << ".\n"
        << ".SH OPTIONS\n";
    writeOptions(text.program, out);
    out << ".SH COMMANDS\n";
    for (const CommandText& command : text.commands) {
        writeCommand(command, out);
    }
    out << ".SH ENVIRONMENT\n.TP\n\\fBNO_COLOR\\fR\nIf set, nothing is written in colour.\n"
        << ".SH EXIT STATUS\n0 if all input was understood, 1 if parts of it were not or something was "
           "found, 2 if\n"
        << "nothing could be done, 130 after an interrupt. Some commands have others; see "
           "docs/rksignal.md.\n";
    return out.str();
}

} // namespace rksignal
