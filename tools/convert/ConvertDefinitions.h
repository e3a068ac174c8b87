/// \file
/// `rksignal convert` of definitions: reads files of any format, writes JSON or DBC.
#pragma once

#include "convert/ConvertCommand.h"
#include "output/OutputFile.h"
#include "trace/ChannelMap.h"

#include <iosfwd>
#include <string>

namespace rksignal {

/// Writes what the inputs define as the ending of the output says. \return as convert()
ExitStatus convertDefinitions(const ConvertOptions& options, ChannelMap& channels, const Console& console);

void writeText(const std::string& text, OutputFile& file);

/// Says why a result that holds nothing is not written.
void reportNothing(const ConvertOptions& options, const OutputFile& file, std::ostream& messages);

} // namespace rksignal
