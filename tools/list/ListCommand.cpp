#include "list/ListCommand.h"

#include "command/UsageError.h"
#include "list/ListFormats.h"
#include "list/MessageLayout.h"
#include "output/OutputFile.h"

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <ostream>

namespace rksignal {
namespace {

void writeLayouts(const std::vector<ListedMessage>& messages, OutputBuffer& out) {
    const TerminalStyle style = TerminalStyle::of(out.fileDescriptor());
    bool isFirst = true;
    for (const ListedMessage& listed : messages) {
        const std::string layout = layoutText(listed, style);
        if (!layout.empty()) {
            out.append((isFirst ? "" : "\n") + messageLine(listed) + layout);
            out.endRow();
            isFirst = false;
        }
    }
}

void write(ListForm form, const std::vector<ListedMessage>& messages, OutputBuffer& out) {
    switch (form) {
    case ListForm::Table:
        return writeListTable(messages, out);
    case ListForm::Csv:
        return writeListCsv(messages, out);
    case ListForm::Json:
        return writeListJson(messages, out);
    case ListForm::Layout:
        return writeLayouts(messages, out);
    }
}

} // namespace

ExitStatus list(const ListOptions& options, const Console& console) {
    DefinitionOptions definitions = options;
    definitions.definitions.insert(definitions.definitions.end(), options.files.begin(), options.files.end());
    if (definitions.definitions.empty()) {
        throw UsageError("there are no definitions: rksignal list FILE");
    }
    Catalog catalog;
    ChannelMap channels;
    InputSet inputs;
    loadDefinitions(definitions, channels, catalog, inputs);
    for (const Remark& remark : catalog.remarks()) {
        if (!options.quiet || remark.severity == Severity::Error) {
            console.messages << remark << '\n';
        }
    }
    const std::vector<ListedMessage> messages = listDefinitions(catalog, options.filter);
    OutputFile file(options.output, console.output, inputs);
    OutputBuffer out(file);
    write(options.form, messages, out);
    if (!out.finish()) {
        return Clean; // the reader has seen enough
    }
    file.complete();
    return catalog.remarks().count(Severity::Error) == 0 ? Clean : Damaged;
}

void addListCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<ListOptions>();
    CLI::App& command = *program.add_subcommand("list", "List the messages and signals of definitions");
    command.add_option("FILE", options->files, "Files of definitions")->type_name("[CHANNEL=]FILE");
    addDefinitionArguments(command, *options);
    command.add_option("--only", options->filter.only, "Only signals whose name matches, e.g. 'Engine.*'")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    command
        .add_option("--message", options->filter.messages, "Only messages whose name or identifier matches")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    command
        .add_option("--grep", options->filter.text,
                    "Only what has this text in a name, comment or value text")
        ->type_name("TEXT");
    const auto setForm = [options](const std::string& name) {
        static const std::map<std::string, ListForm> forms = {
            {"table", ListForm::Table}, {"csv", ListForm::Csv}, {"json", ListForm::Json}};
        options->form = forms.at(name);
    };
    CLI::Option* const format =
        command.add_option_function<std::string>("--format", setForm, "Form of the list")
            ->type_name("FORMAT")
            ->check(CLI::IsMember({"table", "csv", "json"}));
    command
        .add_flag_callback(
            "--layout", [options] { options->form = ListForm::Layout; },
            "Draw where the signals lie in the payload")
        ->excludes(format);
    command.add_option("-o,--output", options->output, "Write to this file instead of standard output")
        ->type_name("FILE");
    command.add_flag("-q,--quiet", options->quiet, "No remarks, only errors");
    command.footer("Examples:\n  rksignal list drive.dbc --grep temperature\n"
                   "  rksignal list drive.dbc --message Engine --layout");
    command.callback([options, &console, &status] { status = list(*options, console); });
}

} // namespace rksignal
