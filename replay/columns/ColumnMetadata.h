/// \file
/// What definitions say about columns and tables, for their metadata.
#pragma once

#include "definition/Definition.h"

#include <string>

namespace rksignal {

/// Of a column of values of the signal with this definition, in the form of ArrowMetadata, see
/// ColumnStream::schema().
std::string signalMetadata(const baseSignalDef_t& signal, const SignalDefinition& definition);

/// The same of the table of a message.
std::string messageMetadata(const MessageDefinition& message);

} // namespace rksignal
