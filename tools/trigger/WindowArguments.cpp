#include "trigger/WindowArguments.h"

#include "command/SecondsArgument.h"
#include "command/UsageError.h"

#include <CLI/CLI.hpp>

namespace rksignal {

CLI::Option* addWindowFileArguments(CLI::App& command, WindowArguments& arguments) {
    CLI::Option* const window =
        command.add_option("--window", arguments.extent, "Write the values around each firing, in seconds")
            ->type_name("BEFORE,AFTER");
    command.add_option("--windows", arguments.folder, "Folder of the windows, a file each")
        ->type_name("FOLDER")
        ->needs(window);
    command
        .add_option("--frames", arguments.frames, "Write the frames around each firing, too, as such a trace")
        ->type_name("ENDING")
        ->needs(window);
    return window;
}

WindowWriter::Extent parseExtent(const WindowArguments& arguments) {
    const std::string& text = arguments.extent;
    const std::size_t comma = text.find(',');
    if (comma == text.npos) {
        throw UsageError("--window " + text + ": not of the form BEFORE,AFTER");
    }
    return {parseSeconds("--window", text.substr(0, comma)),
            parseSeconds("--window", text.substr(comma + 1))};
}

const OutputFormat* framesFormat(const WindowArguments& arguments) {
    const OutputFormat* const format = outputFormatOf("." + arguments.frames);
    if (format == nullptr && !arguments.frames.empty()) {
        throw UsageError("--frames " + arguments.frames + ": not one of " + outputEndings());
    }
    return format;
}

} // namespace rksignal
