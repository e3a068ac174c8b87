/// \file
/// The arguments that ask for windows around firings.
#pragma once

#include "trigger/WindowWriter.h"

#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace rksignal {

struct WindowArguments {
    std::string extent; ///< `BEFORE,AFTER`; empty: no windows
    std::string folder;
    std::string frames; ///< ending of the traces beside the windows; empty: none
};

/// Adds `--window`, which is returned, `--windows` and `--frames`. `arguments` must outlive the parsing.
CLI::Option* addWindowFileArguments(CLI::App& command, WindowArguments& arguments);

/// \throws UsageError if the text is not of that form
WindowWriter::Extent parseExtent(const WindowArguments& arguments);

/// Null if no frames are wanted. \throws UsageError if there is no such format
const OutputFormat* framesFormat(const WindowArguments& arguments);

} // namespace rksignal
