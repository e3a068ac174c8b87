/// \file
/// The pieces that DBC text is written from.
#pragma once

#include "definition/Definition.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal::dbc {

/// All up to the list of nodes.
const char* head();
/// Of the attributes that are written.
const char* attributeDefinitions();

std::uint32_t rawIdOf(const MessageDefinition& message);

/// As numbered by the definition of `VFrameFormat`.
int frameFormatOf(const MessageDefinition& message);

/// A backslash at the end would hide the quote that ends the text.
inline bool canBeQuoted(std::string_view text) {
    return !text.ends_with('\\');
}
/// The text between quotes, with a blank behind it if it cannot be quoted otherwise.
std::string quoted(std::string_view text);

/// The whole number that a raw word stands for, as VAL_ has it; none if it stands for no whole number.
std::optional<std::int64_t> wholeValue(signalValue_t type, std::uint64_t raw);

/// The part of the instance name behind that of the message, else the short name of the signal.
std::string nameIn(const MessageDefinition& message, const SignalDefinition& signal);

/// `: 7|16@0+ (0.25,0) [0|16383.75] "rpm" `
std::string layoutText(const SignalDefinition& signal);

/// `0-3, 7-7`
std::string rangesText(const Multiplexing& multiplexing);

/// By index: which signals are multiplexers.
std::vector<bool> multiplexersOf(const MessageDefinition& message);

/// Whether `m0`, `m1` in the lines of the signals do not say it all: they are about the one multiplexer.
bool hasExtendedMultiplexing(const MessageDefinition& message, const std::vector<bool>& multiplexers);

} // namespace rksignal::dbc
