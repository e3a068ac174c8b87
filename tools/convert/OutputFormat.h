/// \file
/// The formats of traces that `rksignal convert` writes.
#pragma once

#include "convert/TraceWriter.h"

#include <memory>
#include <string>
#include <string_view>

namespace rksignal {

/// A format is one writer and one row of the table in OutputFormat.cpp.
struct OutputFormat {
    std::string_view ending;                                            ///< of the file's name: `.log`
    std::unique_ptr<TraceWriter> (*makeWriter)(const OutputFile& file); ///< `file` must outlive the writer
};

/// \return null if there is no format with this ending
const OutputFormat* outputFormatOf(std::string_view path);

/// The endings of all formats: `.rktrace, .log or .xyz`
std::string outputEndings();

} // namespace rksignal
