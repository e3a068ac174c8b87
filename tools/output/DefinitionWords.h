/// \file
/// Definitions in words, for readers.
#pragma once

#include "definition/Definition.h"

#include <string>

namespace rksignal {

/// The identifier as traces show it: hexadecimal of CAN and LIN, a slot of FlexRay; empty of other kinds.
std::string shortIdentifier(const MessageDefinition& message);

/// What a frame must be to hold the signal: `can 1A0, 11 bits, channel 1`, `flexray slot 41, static, from
/// cycle 1 on every 4, channel 0`. Of several positions the first one, with their number.
std::string frameKey(const MessageDefinition& message, const SignalDefinition& signal);

/// `unsigned`, `signed`, `float` or `double`
std::string typeName(const SignalDefinition& signal);

/// `byte 2 bit 7, 16 bits, big endian, unsigned`
std::string fieldText(const SignalDefinition& signal);

/// When a multiplexed signal is there: `Mode = 3, 5-7`; empty if it always is.
std::string branchText(const MessageDefinition& message, const SignalDefinition& signal);

/// `3, 5-7`
std::string rangesText(const std::vector<ValueRange>& ranges);

/// The value table: `0 Off, 1 On`
std::string valueTexts(const baseSignalDef_t& signal);

/// `8 bytes, from ECM, every 20 ms`, of what is known
std::string messageText(const MessageDefinition& message);

/// What a raw value is written as: with its sign if the signal has one.
std::string rawText(std::uint64_t raw, signalValue_t type);

} // namespace rksignal
