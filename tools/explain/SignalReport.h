/// \file
/// What there is to say about one signal.
#pragma once

#include "explain/MissingValue.h"
#include "output/OutputBuffer.h"
#include "text/NumberText.h"

#include <cstddef>

namespace rksignal {

/// Writes the definition in words: frame, field, range, texts, comment; then what was remarked about it.
void writeDefinition(const Catalog& catalog, const MessageDefinition& message, const SignalDefinition& signal,
                     OutputBuffer& out);

/// Writes how the last value came about: the payload with the bits of the signal marked, raw value, scaling,
/// text; then the last values with their frames. REQUIRES: there was a value.
void writeValue(const ReplayResult& result, std::size_t signal, const SignalWatch& watch,
                const TimeFormat& times, OutputBuffer& out);

} // namespace rksignal
