/// \file
/// What there is to say about one signal.
#pragma once

#include "explain/MissingValue.h"
#include "output/OutputBuffer.h"
#include "text/NumberText.h"

#include <cstddef>
#include <string>

namespace rksignal {

/// Writes how a signal came to its last value, at the end of a replay, or why it has none: what is known of
/// its frames, its definition, and its last values. \return whether it has a value
bool writeExplanation(const ReplayResult& result, std::size_t signal, const SignalWatch& watch,
                      const TimeFormat& times, OutputBuffer& out);

/// The same of a signal that is defined and is not decoded. \return false, and writes nothing, if there is
/// none of that name
bool writeDropped(const Catalog& catalog, const std::string& instance, OutputBuffer& out);

} // namespace rksignal
