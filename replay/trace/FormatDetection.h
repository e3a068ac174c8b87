/// \file
/// Finds out what format a trace has.
#pragma once

#include "file/InputFile.h"
#include "trace/TraceFormat.h"

#include <optional>

namespace rksignal {

/// By the first bytes, of a text by its first lines: the first one that only one format has decides, so that
/// a damaged line in front does no harm. Failing that by what the first line begins with. A file of comments
/// only, or an empty one, counts as a candump log. Waits for as many bytes as that takes, at most 64 KB.
/// \return nothing if it is no trace; then peeked() tells what it is \throws Error
std::optional<TraceFormat> detectFormat(InputFile& file);

} // namespace rksignal
