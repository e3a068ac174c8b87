/// \file
/// DBC files, the customary text format for the messages and signals of a CAN bus.
///
/// Reading is tolerant: the files found in the field come from many editors and from many hands. A broken
/// line costs only itself, and everything that was assumed or left out is remarked: a Note says what was
/// assumed, a Warning which well-formed definition is not used, an Error which line could not be understood.
/// What a DBC file says about nodes, environment variables, signal groups and most attributes is of no use
/// for decoding and is not kept.
#pragma once

#include "definition/Definition.h"
#include "text/Export.h"

#include <optional>
#include <string>

namespace rksignal {

/// Reads DBC text. Never throws because of the content. `path` only names the text in remarks and places;
/// all messages are bound to `channel`.
///
/// Signals have the instance name `Message.Signal`; their short names are unique in the message. Widths are
/// 1 to 64, those of floating-point numbers 32 and 64. A signal ends within 64 bytes, but may reach past its
/// message's length (then a remark says so). Scales may be 0 (with a remark). Long names and frame formats
/// are taken from the customary attributes, and so is the cycle time. No two messages have the same `id` and
/// `extended`. Value texts stand under the raw word of their value. The placeholder Vector__XXX for a node
/// is left out. Text that is not UTF-8 throughout is taken as Windows-1252 (with a remark).
///
/// Takes time in proportion to the text, about 5 ms per MB, whatever is wrong with it.
RKREPLAY_EXPORT DefinitionFile parseDbc(std::string text, std::string path,
                                        std::optional<std::uint8_t> channel = {});

/// Reads the file `path`, which may be compressed, with parseDbc().
/// \throws Error if it cannot be opened or read, or is something else than text with statements
RKREPLAY_EXPORT DefinitionFile readDbc(const std::string& path, std::optional<std::uint8_t> channel = {});

} // namespace rksignal
