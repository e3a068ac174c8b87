/// \file
/// Names of MQTT topics (MQTT 3.1.1, 4.7).
#pragma once

#include <string>
#include <string_view>

namespace rksignal {

/// The longest name of a topic, in bytes.
constexpr std::size_t maxTopicLength = 65535;

/// The topic of a signal: `PREFIX/Engine/Speed` of `Engine.Speed`. Each dot begins a new level. What a name
/// of a topic must not hold (`+`, `#`, control characters, bytes that are not UTF-8), `/` and `%` become `%`
/// and two hexadecimal digits, so that no two signals have one topic; the first letter does where the name is
/// that of a topic of the program, `status`, `statistics` or `values`.
std::string topicOf(std::string_view prefix, std::string_view instance);

/// Whether messages can be published below it: it is not empty, and holds no wildcards and control
/// characters.
bool isTopicPrefix(std::string_view prefix);

} // namespace rksignal
